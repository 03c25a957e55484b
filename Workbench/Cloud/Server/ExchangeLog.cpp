#include "Cloud/Server/ExchangeLog.h"

#include "Cloud/Util/Json.h"
#include "Cloud/Util/Time.h"

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

Json::Value ExchangeLog::Add(const Exchange& exchange) {
    const std::string time = NowText();
    if (m_recorder != nullptr) {
        m_recorder->Append(AsciiJson(ToJson(exchange, time, std::string::npos)));
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
