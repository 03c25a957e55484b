#include "Cloud/State/Exchanges.h"

#include <fcntl.h>
#include <glib.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <sstream>
#include <stdexcept>

#include "Cli/Json.h"
#include "Cli/Pattern.h"
#include "Cli/Text.h"
#include "Cli/Time.h"
#include "Files.h"
#include "Util/JsonUtil.h"

namespace LocalCloud {

namespace {

constexpr char FILE_NAME[] = "exchanges.jsonl";
constexpr std::int64_t FIRST_ERROR = 400;

/** Null for a damaged one. */
Json::Value ParseLine(const std::string& line) {
    try {
        return Cli::ParseObject(line, FILE_NAME);
    } catch (const std::runtime_error& /*damage*/) {
        return {};
    }
}

/** The "headers" as the lines that came, and the "body"; "body_bytes" is the length of one that is not whole.
 */
Json::Value TakeApart(const std::string& message) {
    Json::Value entry;
    entry["headers"] = Json::arrayValue;
    const auto end = std::min(message.find(HEADERS_END), message.size());
    for (auto line = message.find(LINE_END); line < end;) {
        const auto start = line + sizeof(LINE_END) - 1;
        line = message.find(LINE_END, start);
        entry["headers"].append(message.substr(start, line - start));
    }
    const auto body = std::min(end + sizeof(HEADERS_END) - 1, message.size());
    entry["body"] = message.substr(body, LONGEST_KEPT_BODY);
    if (message.size() - body > LONGEST_KEPT_BODY) {
        entry["body_bytes"] = Json::UInt64(message.size() - body);
    }
    return entry;
}

/** The request's name, with the mark that is asked from; the target where there is no such request. */
std::string WhatOf(const Json::Value& exchange) {
    constexpr std::size_t LONGEST_TARGET = 48;
    const std::string target = Cli::StringMember(exchange, "path");
    const std::string name = Cli::StringMember(exchange, "endpoint");
    const std::string mark(Cli::Pattern("[?&]changed_after=(?<v>[^&]*)").Find(target)["v"]);
    return name.empty()   ? (Cli::StringMember(exchange, "method") + " " + target).substr(0, LONGEST_TARGET)
           : mark.empty() ? name
                          : name + " after " + mark;
}

}  // namespace

ExchangeLog::ExchangeLog(const Folder& folder) : m_path(folder.StateFile(FILE_NAME)) {
    const std::string text = Files::ReadIfThere(m_path).value_or("");
    m_isTorn = !text.empty() && text.back() != '\n';
    const std::vector<Json::Value> exchanges = ReadExchanges(folder, 0);
    m_number = exchanges.empty() ? 0 : Cli::IntegerMember(exchanges.back(), "number");
}

void ExchangeLog::Add(Json::Value& exchange, const std::string& request, const std::string& answer) {
    std::string method;
    std::string path;
    std::string version;
    int status = 0;
    std::istringstream(request.substr(0, request.find(LINE_END))) >> method >> path;
    std::istringstream(answer.substr(0, answer.find(LINE_END))) >> version >> status;
    exchange["method"] = method;
    exchange["path"] = path;
    exchange["request"] = TakeApart(request);
    exchange["response"] = TakeApart(answer);
    exchange["response"]["status"] = status;
    exchange["time"] = Cli::Timestamp();
    exchange["number"] = Json::Int64(++m_number);

    const std::string line = (m_isTorn ? "\n" : "") + InfoSyncUtil::WriteJson(exchange) + "\n";
    // Opened each time: whoever removes the file while the server runs gets a new one.
    const int file = ::open(m_path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, Files::PRIVATE);
    const ssize_t written = file < 0 ? -1 : ::write(file, line.data(), line.size());
    const int error = written < 0 ? errno : ENOSPC;
    const bool isWhole = written == static_cast<ssize_t>(line.size());
    m_isTorn = !isWhole && (m_isTorn || written > 0);
    ::close(file);
    if (!isWhole) {
        throw std::runtime_error("could not keep exchange " + std::to_string(m_number) + " in " + m_path +
                                 ": " + g_strerror(error));
    }
    if (std::filesystem::file_size(m_path) > MOST_BYTES) {
        const std::string text = Files::Read(m_path);
        Files::Replace(m_path, text.substr(text.find('\n', text.size() - MOST_BYTES / 2) + 1));
    }
}

std::vector<Json::Value> ReadExchanges(const Folder& folder, std::int64_t after) {
    const std::string text = Files::ReadIfThere(folder.StateFile(FILE_NAME)).value_or("");
    std::vector<Json::Value> exchanges;
    // From the end: who follows the file has seen most of it.
    for (std::size_t end = text.size(); end > 0;) {
        const std::size_t begin = end < 2 ? 0 : text.rfind('\n', end - 2) + 1;
        const Json::Value exchange = ParseLine(text.substr(begin, end - begin));
        end = begin;
        if (exchange.isNull()) {
            continue;
        }
        if (Cli::IntegerMember(exchange, "number") <= after) {
            break;
        }
        exchanges.push_back(exchange);
    }
    std::reverse(exchanges.begin(), exchanges.end());
    return exchanges;
}

std::string ExchangeLine(const Json::Value& exchange, const Cli::Style& style) {
    const std::int64_t status = Cli::IntegerMember(exchange["response"], "status");
    const std::string login = Cli::StringMember(exchange, "user");
    const std::string fault = Cli::StringMember(exchange, "fault");
    return Cli::TimeOfDay(Cli::StringMember(exchange, "time")) + " " + Cli::Escape(WhatOf(exchange)) + " " +
           style(status < FIRST_ERROR ? Cli::Colour::GREEN : Cli::Colour::RED, std::to_string(status)) + " " +
           Cli::Escape(Cli::StringMember(exchange, "decided")) +
           (login.empty() ? "" : " [" + Cli::Escape(login) + "]") +
           (fault.empty() ? "" : " (fault: " + Cli::Escape(fault) + ")");
}

}  // namespace LocalCloud
