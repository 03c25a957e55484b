#include "Cloud/Server/ControlServer.h"

#include <charconv>
#include <utility>

#include "Cloud/Util/Crypto.h"
#include "Cloud/Util/Errors.h"
#include "Cloud/Util/Json.h"

namespace LocalCloud {

namespace {

constexpr char JSON_TYPE[] = "application/json";
constexpr int FORBIDDEN = 403;
constexpr int FAILED = 500;
constexpr std::size_t THREADS = 2;

using httplib::Request;
using httplib::Response;

/** Answers with what becomes of the request, or with why it fails. */
httplib::Server::Handler Command(const std::function<Json::Value(const Request&)>& carryOut) {
    return [carryOut](const Request& request, Response& response) {
        Json::Value reply;
        try {
            reply = carryOut(request);
        } catch (const std::exception& error) {
            response.status = FAILED;
            reply["error"] = error.what();
        }
        response.set_content(AsciiJson(reply), JSON_TYPE);
    };
}

std::int64_t NumberIn(const Request& request, const char* name) {
    std::int64_t number = 0;
    const std::string text = request.get_param_value(name);
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

Json::Value Plan(FaultPlan& faults, const Request& request) {
    const Fault fault = FaultFromJson(ParseJsonObject(request.body, "request"));
    faults.Add(fault);
    Json::Value reply = ToJson(fault);
    reply.removeMember("body_base64url");
    return reply;
}

Json::Value ListOf(const FaultPlan& faults) {
    Json::Value reply;
    reply["faults"] = Json::arrayValue;
    for (const auto& fault : faults.List()) {
        reply["faults"].append(ToJson(fault));
    }
    return reply;
}

Json::Value Expire(TokenStore& tokens, const Request& request) {
    const Json::Value what = ParseJsonObject(request.body, "request");
    Json::Value reply;
    reply["expired"] = Json::Int64(tokens.Expire(TextMember(what, "kind"), TextMember(what, "user")));
    return reply;
}

}  // namespace

ControlServer::ControlServer(const Folder& folder, Controlled controlled)
    : m_controlled(std::move(controlled)),
      m_server((folder.TlsFolder() + "/server.pem").c_str(), (folder.TlsFolder() + "/server.key").c_str()),
      m_port(m_server.bind_to_any_port("127.0.0.1")) {
    if (m_port <= 0) {
        throw CloudError("could not listen for commands on 127.0.0.1");
    }
    m_server.new_task_queue = [] { return new httplib::ThreadPool(THREADS); };
    m_server.set_keep_alive_max_count(1);
    m_server.set_pre_routing_handler(
        [secret = folder.ControlSecret()](const Request& request, Response& response) {
            if (SameSecret(request.get_header_value(CONTROL_SECRET_HEADER), secret)) {
                return httplib::Server::HandlerResponse::Unhandled;
            }
            response.status = FORBIDDEN;
            return httplib::Server::HandlerResponse::Handled;
        });
    SetUpRoutes();
    m_listening.emplace(m_server, [] {});
}

void ControlServer::SetUpRoutes() {
    m_server.Get("/status", Command([this](const Request&) { return m_controlled.status(); }));
    m_server.Get("/exchanges", Command([this](const Request& request) {
                     Json::Value reply;
                     reply["exchanges"] = m_controlled.exchanges.After(NumberIn(request, "after"));
                     return reply;
                 }));
    m_server.Post("/expire",
                  Command([this](const Request& request) { return Expire(m_controlled.tokens, request); }));
    m_server.Get("/faults", Command([this](const Request&) { return ListOf(m_controlled.faults); }));
    m_server.Post("/faults",
                  Command([this](const Request& request) { return Plan(m_controlled.faults, request); }));
    m_server.Delete("/faults", Command([this](const Request&) {
                        m_controlled.faults.Clear();
                        return Json::Value(Json::objectValue);
                    }));
    m_server.Post("/stop", Command([this](const Request&) {
                      m_controlled.stop();
                      return Json::Value(Json::objectValue);
                  }));
}

}  // namespace LocalCloud
