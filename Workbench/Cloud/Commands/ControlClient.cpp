#include "Cloud/Commands/ControlClient.h"

#include <httplib.h>

#include <stdexcept>

#include "Cloud/Server/ControlServer.h"
#include "Cloud/Util/Json.h"
#include "Files.h"
#include "Util/JsonUtil.h"

namespace LocalCloud {

namespace {

constexpr time_t CONNECTION_TIMEOUT_SECONDS = 5;
// A busy server may take its time, over a body of many megabytes for example.
constexpr time_t READ_TIMEOUT_SECONDS = 30;
constexpr int OK = 200;
constexpr int FORBIDDEN = 403;
constexpr int HIGHEST_PORT = 65535;

[[noreturn]] void ThrowNoServer(const Folder& folder) {
    throw std::runtime_error("no server runs on " + folder.Path() +
                             "; start one with: infosync-cloud serve --dir '" + folder.Path() + "'");
}

/** What the server that runs, or was killed, has noted down. */
Json::Value FindServer(const Folder& folder) {
    try {
        Json::Value server = ParseJsonObject(Files::Read(folder.ServerFile()), "server");
        const auto port = IntegerMember(server, "control_port");
        if (port >= 1 && port <= HIGHEST_PORT) {
            return server;
        }
    } catch (const std::runtime_error&) {
        // Not there, or not what a server wrote: either way there is nobody to talk to.
    }
    ThrowNoServer(folder);
}

}  // namespace

Json::Value AskServer(const Folder& folder, const std::string& method, const std::string& path,
                      const Json::Value& body) {
    const Json::Value server = FindServer(folder);
    httplib::SSLClient client("127.0.0.1", server["control_port"].asInt());
    client.set_ca_cert_path(folder.CaFile());
    client.set_connection_timeout(CONNECTION_TIMEOUT_SECONDS);
    client.set_read_timeout(READ_TIMEOUT_SECONDS);
    httplib::Request request;
    request.method = method;
    request.path = path;
    request.body = body.isNull() ? "" : InfoSyncUtil::WriteJson(body);
    request.set_header(CONTROL_SECRET_HEADER, folder.ControlSecret());
    const auto result = client.send(request);
    if (!result && result.error() == httplib::Error::Connection) {
        ThrowNoServer(folder);
    }
    if (!result) {
        throw std::runtime_error("the server on " + folder.Path() + " does not answer (" +
                                 httplib::to_string(result.error()) + "); it is busy or stuck: process " +
                                 std::to_string(IntegerMember(server, "pid")));
    }
    if (result->status == FORBIDDEN) {
        throw std::runtime_error("the server on " + folder.Path() +
                                 " began with another control.secret; stop it and start it again");
    }
    Json::Value answer = ParseJsonObject(result->body, "answer");
    if (result->status != OK) {
        throw std::runtime_error(TextMember(answer, "error"));
    }
    return answer;
}

}  // namespace LocalCloud
