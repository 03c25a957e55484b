#include "Cloud/State/Exchanges.h"

#include <fcntl.h>
#include <glib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <utility>

#include "Cli/Json.h"
#include "Cli/Text.h"
#include "Cli/Time.h"
#include "Files.h"
#include "Util/JsonUtil.h"

namespace LocalCloud {

namespace {

constexpr char FILE_NAME[] = "exchanges.jsonl";

/** Null for a damaged one. */
Json::Value ParseLine(const std::string& line) {
    try {
        return Cli::ParseObject(line, FILE_NAME);
    } catch (const std::runtime_error& /*damage*/) {
        return {};
    }
}

/** The newest lines, half of what the file may hold. */
std::string NewerHalf(const std::string& text) {
    const std::size_t half = ExchangeLog::MOST_BYTES / 2;
    return text.size() <= half ? text : text.substr(text.find('\n', text.size() - half - 1) + 1);
}

constexpr std::int64_t FIRST_ERROR = 400;

/** The request's name, with the mark that is asked from; the target where there is no such request. */
std::string WhatOf(const Json::Value& exchange) {
    constexpr char MARK[] = "changed_after=";
    constexpr std::size_t LONGEST_TARGET = 48;
    const std::string target = Cli::StringMember(exchange, "path");
    const std::string name = Cli::StringMember(exchange, "endpoint");
    if (name.empty()) {
        return (Cli::StringMember(exchange, "method") + " " + target).substr(0, LONGEST_TARGET);
    }
    const auto mark = target.find(MARK);
    const auto begin = mark + sizeof(MARK) - 1;
    return mark == std::string::npos
               ? name
               : name + " after " + target.substr(begin, target.find('&', begin) - begin);
}

}  // namespace

void TakeApart(Json::Value& entry, const std::string& message) {
    entry["headers"] = Json::arrayValue;
    entry["body"] = "";
    const auto end = message.find(HEADERS_END);
    if (end == std::string::npos) {
        return;
    }
    for (auto start = message.find(LINE_END); start < end;) {
        start += sizeof(LINE_END) - 1;
        const auto next = message.find(LINE_END, start);
        entry["headers"].append(message.substr(start, next - start));
        start = next;
    }
    const auto body = end + sizeof(HEADERS_END) - 1;
    entry["body"] = message.substr(body, LONGEST_KEPT_BODY);
    if (message.size() - body > LONGEST_KEPT_BODY) {
        entry["body_bytes"] = Json::UInt64(message.size() - body);
    }
}

ExchangeLog::ExchangeLog(const Folder& folder) : m_path(folder.StateFile(FILE_NAME)) {
    const std::string text = Files::ReadIfThere(m_path).value_or("");
    if (!text.empty() && text.back() != '\n') {
        Files::Replace(m_path, text + "\n");
    }
    const std::vector<Json::Value> exchanges = ReadExchanges(folder, 0);
    m_number = exchanges.empty() ? 0 : Cli::IntegerMember(exchanges.back(), "number");
}

void ExchangeLog::Add(Json::Value& exchange) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    exchange["time"] = Cli::Timestamp();
    exchange["number"] = Json::Int64(++m_number);
    Append(InfoSyncUtil::WriteJson(exchange) + "\n");
}

void ExchangeLog::Append(const std::string& line) const {
    // Opened each time: whoever removes the file while the server runs gets a new one.
    const int file = ::open(m_path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, Files::PRIVATE);
    const off_t end = file < 0 ? 0 : ::lseek(file, 0, SEEK_END);
    const ssize_t written = file < 0 ? -1 : ::write(file, line.data(), line.size());
    const int error = written < 0 ? errno : ENOSPC;
    const bool isWhole = written == static_cast<ssize_t>(line.size());
    const bool isTorn = written > 0 && !isWhole && ::ftruncate(file, end) != 0;
    ::close(file);
    if (!isWhole) {
        throw std::runtime_error("could not keep exchange " + std::to_string(m_number) + " in " + m_path +
                                 ": " + g_strerror(error) + (isTorn ? "; a line is torn" : ""));
    }
    if (static_cast<std::size_t>(end) + line.size() > MOST_BYTES) {
        Files::Replace(m_path, NewerHalf(Files::Read(m_path)));
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
