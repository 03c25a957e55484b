#include "Cloud/Commands/ControlClient.h"

#include <httplib.h>

#include "Cloud/Server/ControlServer.h"
#include "Cloud/Util/Errors.h"
#include "Cloud/Util/Files.h"
#include "Cloud/Util/Json.h"

namespace LocalCloud {

namespace {

constexpr time_t TIMEOUT_SECONDS = 5;
constexpr int OK = 200;
constexpr int BAD_REQUEST = 400;
constexpr int HIGHEST_PORT = 65535;

[[noreturn]] void ThrowNoServer(const Folder& folder) {
    throw CloudError("no server runs on " + folder.Path() + "; start one with: infosync-cloud serve --dir '" +
                     folder.Path() + "'");
}

}  // namespace

Json::Value ControlClient::Get(const std::string& path) const {
    return Call("GET", path, {});
}

Json::Value ControlClient::Post(const std::string& path, const Json::Value& body) const {
    return Call("POST", path, CompactJson(body));
}

void ControlClient::Delete(const std::string& path) const {
    Call("DELETE", path, {});
}

int ControlClient::FindPort() const {
    try {
        const auto port =
            IntegerMember(ParseJsonObject(ReadFile(m_folder.ServerFile()), "server"), "control_port");
        if (port >= 1 && port <= HIGHEST_PORT) {
            return static_cast<int>(port);
        }
    } catch (const CloudError&) {
        // Not there, or not what a server wrote: either way there is nobody to talk to.
    }
    ThrowNoServer(m_folder);
}

Json::Value ControlClient::Call(const std::string& method, const std::string& path,
                                const std::string& body) const {
    m_folder.RequireReady();
    httplib::SSLClient client("127.0.0.1", FindPort());
    client.set_ca_cert_path(m_folder.CaFile());
    client.set_connection_timeout(TIMEOUT_SECONDS);
    client.set_read_timeout(TIMEOUT_SECONDS);
    httplib::Request request;
    request.method = method;
    request.path = path;
    request.body = body;
    request.set_header(CONTROL_SECRET_HEADER, m_folder.ControlSecret());
    const auto result = client.send(request);
    if (!result) {
        ThrowNoServer(m_folder);
    }
    if (result->status == BAD_REQUEST) {
        throw UsageError(TextMember(ParseJsonObject(result->body, "answer"), "error"));
    }
    if (result->status != OK) {
        throw CloudError("the server on " + m_folder.Path() + " refused the command (status " +
                         std::to_string(result->status) + "); stop it and start it again");
    }
    return ParseJsonObject(result->body, "answer");
}

}  // namespace LocalCloud
