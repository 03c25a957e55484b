#include "Cloud/State/Exchanges.h"

#include <fcntl.h>
#include <glib.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "Cloud/Util/Json.h"
#include "Cloud/Util/Time.h"
#include "Files.h"
#include "Util/JsonUtil.h"

namespace LocalCloud {

namespace {

constexpr char LINE_END[] = "\r\n";
constexpr char HEADERS_END[] = "\r\n\r\n";

/** The lines between the first one and the blank one, and what comes after, as far as there is room. */
void AddMessage(Json::Value& entry, const std::string& message, std::size_t room) {
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
    entry["body"] = message.substr(body, room);
    if (message.size() - body > room) {
        entry["body_bytes"] = Json::UInt64(message.size() - body);
    }
}

Json::Value ToJson(const Exchange& exchange, const std::string& time, std::size_t room) {
    Json::Value entry;
    entry["time"] = time;
    entry["method"] = exchange.method;
    entry["path"] = exchange.target;
    entry["user"] = exchange.login;
    entry["decided"] = exchange.decided;
    if (exchange.fault) {
        entry["fault"] = exchange.fault->Describe();
    }
    AddMessage(entry["request"], exchange.request, room);
    entry["response"]["status"] = exchange.status;
    AddMessage(entry["response"], exchange.answer, room);
    return entry;
}

}  // namespace

Recorder::Recorder(std::string path, Console& console)
    : m_path(std::move(path)),
      m_console(console),
      m_file(::open(m_path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, Files::PRIVATE)) {
    if (m_file < 0) {
        throw std::runtime_error("could not open " + m_path + " to record in: " + g_strerror(errno) +
                                 "; name a file that can be written");
    }
}

Recorder::~Recorder() {
    ::close(m_file);
}

void Recorder::Append(const std::string& line) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    const std::string text = line + "\n";
    const off_t end = ::lseek(m_file, 0, SEEK_END);
    const ssize_t written = ::write(m_file, text.data(), text.size());
    const std::string reason = g_strerror(written < 0 ? errno : ENOSPC);
    if (written == static_cast<ssize_t>(text.size())) {
        if (m_missing > 0) {
            m_console.Complain("recording in " + m_path +
                               " again; exchanges that are missing there: " + std::to_string(m_missing));
            m_missing = 0;
        }
        return;
    }
    // The beginning of a line would spoil the next one. A pipe has nothing that could be taken back.
    const bool torn = end < 0 || ::ftruncate(m_file, end) != 0;
    if (m_missing++ == 0) {
        m_console.Complain("could not record in " + m_path + ": " + reason +
                           "; exchanges will be missing there until there is room" +
                           (torn ? ", and a line may be torn" : ""));
    }
}

Json::Value ExchangeLog::Add(const Exchange& exchange) {
    const std::string time = NowText();
    if (m_recorder != nullptr) {
        m_recorder->Append(InfoSyncUtil::WriteJson(ToJson(exchange, time, std::string::npos)));
    }
    Json::Value entry = ToJson(exchange, time, LONGEST_BODY);
    const std::lock_guard<std::mutex> lock(m_mutex);
    entry["number"] = Json::Int64(++m_count);
    m_kept.push_back(entry);
    if (m_kept.size() > KEPT) {
        m_kept.pop_front();
    }
    return entry;
}

Json::Value ExchangeLog::After(std::int64_t number) const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    Json::Value list = Json::arrayValue;
    for (const auto& entry : m_kept) {
        if (IntegerMember(entry, "number") > number) {
            list.append(entry);
        }
    }
    return list;
}

}  // namespace LocalCloud
