#include "Cloud/Server/Recorder.h"

#include <fcntl.h>
#include <glib.h>
#include <json/json.h>
#include <unistd.h>

#include <memory>

#include "Cloud/Util/Errors.h"
#include "Cloud/Util/Files.h"

namespace LocalCloud {

namespace {

constexpr char LINE_END[] = "\r\n";
constexpr char HEADERS_END[] = "\r\n\r\n";

std::string Now() {
    const std::unique_ptr<GDateTime, decltype(&g_date_time_unref)> now(g_date_time_new_now_utc(),
                                                                       &g_date_time_unref);
    const std::unique_ptr<char, decltype(&g_free)> text(g_date_time_format_iso8601(now.get()), &g_free);
    return text.get();
}

/** The lines between the first one and the blank one, and what comes after. */
void AddMessage(Json::Value& entry, const std::string& message) {
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
    entry["body"] = message.substr(end + sizeof(HEADERS_END) - 1);
}

}  // namespace

Recorder::Recorder(const std::string& path) {
    // Made with its rights before the first byte; the stream cannot set them.
    const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, PRIVATE_FILE);
    if (file >= 0) {
        ::close(file);
        m_file.open(path, std::ios::app);
    }
    if (!m_file.is_open()) {
        throw CloudError("could not open " + path + " to record in; name a file that can be written");
    }
}

void Recorder::Write(const Exchange& exchange, const std::string& request, const std::string& answer) {
    Json::Value entry;
    entry["time"] = Now();
    entry["method"] = exchange.method;
    entry["path"] = exchange.target;
    entry["user"] = exchange.login;
    entry["decided"] = exchange.decided;
    if (exchange.fault) {
        entry["fault"] = exchange.fault->Describe();
    }
    AddMessage(entry["request"], request);
    entry["response"]["status"] = exchange.status;
    AddMessage(entry["response"], answer);
    Json::StreamWriterBuilder writer;
    writer["indentation"] = "";
    const std::string line = Json::writeString(writer, entry) + "\n";
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_file << line << std::flush;
}

}  // namespace LocalCloud
