#include "Television/RequestReader.h"

#include <cstdlib>

#include "Cli/Text.h"

namespace Television {

namespace {

constexpr char TOKEN[] = "token";
constexpr char REFRESH[] = "token refresh";
constexpr char ACTIVATION[] = "activation";
constexpr char APPLICATION_TOKEN[] = "application token";
constexpr char DOWNLOAD[] = "download";

using Cli::StartsWith;

Json::Value NumberAtEnd(const std::string& message) {
    return static_cast<Json::Int64>(std::strtoll(message.c_str() + message.rfind(' ') + 1, nullptr, 10));
}

}  // namespace

void RequestReader::Take(const LogLine& line) {
    const std::string message = line.Message();
    if (line.file == "CAuthServerHttpMessage.cpp" && StartsWith(message, "URL : ")) {
        m_next = message.find("refreshtoken") == std::string::npos ? TOKEN : REFRESH;
    } else if (line.function == "ActivateCloudServer" && message == "Service is not acitivated") {
        m_next = ACTIVATION;
    } else if (line.function == "IssueJWT" && message == "JWT is not valid") {
        m_next = APPLICATION_TOKEN;
    } else if (StartsWith(message, "last synced timestamp : ")) {
        m_mark = NumberAtEnd(message);
    } else if (line.file == "CHttpMessage.cpp" && message == "before send") {
        Begin(m_next);
    } else if (line.file == "CHttpMessage.cpp" && message == "after send" && !m_requests.empty()) {
        Last()["answered"] = true;
        m_next = DOWNLOAD;
    } else if (StartsWith(message, "status code : ") || StartsWith(message, "error code : ")) {
        TakeStatus(line.file, NumberAtEnd(message));
    }
}

void RequestReader::Begin(const std::string& name) {
    Json::Value request;
    request["request"] = name;
    request["answered"] = false;
    request["status"] = Json::Value();
    if (name == DOWNLOAD) {
        request["mark"] = m_mark;
    }
    m_requests.append(std::move(request));
}

void RequestReader::TakeStatus(const std::string& file, const Json::Value& status) {
    const std::string last = m_requests.empty() ? "" : Last()["request"].asString();
    const std::string name = file == "CKCloudActivateHttpMessage.cpp" ? ACTIVATION
                             : file == "CKCloudAuthHttpMessage.cpp"   ? APPLICATION_TOKEN
                             : file == "CKCloudDataHttpMessage.cpp"   ? DOWNLOAD
                             : last == REFRESH                        ? REFRESH
                                                                      : TOKEN;
    // Where the log begins at W, the status is the first that is heard of a request.
    if (name != last) {
        Begin(name);
    }
    Last()["answered"] = true;
    Last()["status"] = status;
}

Json::Value& RequestReader::Last() {
    return m_requests[m_requests.size() - 1];
}

}  // namespace Television
