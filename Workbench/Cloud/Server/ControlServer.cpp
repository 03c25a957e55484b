#include "Cloud/Server/ControlServer.h"

#include <charconv>
#include <stdexcept>

#include "Cloud/State/Crypto.h"
#include "Cloud/Util/Json.h"
#include "Util/JsonUtil.h"

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
        response.set_content(InfoSyncUtil::WriteJson(reply), JSON_TYPE);
    };
}

std::int64_t NumberIn(const Request& request, const char* name) {
    std::int64_t number = 0;
    const std::string text = request.get_param_value(name);
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
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

int SetUpControl(httplib::Server& server, const std::string& secret, const Controlled& controlled) {
    server.new_task_queue = [] { return new httplib::ThreadPool(THREADS); };
    server.set_keep_alive_max_count(1);
    server.set_pre_routing_handler([secret](const Request& request, Response& response) {
        if (SameSecret(request.get_header_value(CONTROL_SECRET_HEADER), secret)) {
            return httplib::Server::HandlerResponse::Unhandled;
        }
        response.status = FORBIDDEN;
        return httplib::Server::HandlerResponse::Handled;
    });
    server.Get("/status", Command([controlled](const Request&) { return controlled.status(); }));
    server.Get("/exchanges", Command([controlled](const Request& request) {
                   Json::Value reply;
                   reply["exchanges"] = controlled.exchanges.After(NumberIn(request, "after"));
                   return reply;
               }));
    server.Post("/expire",
                Command([controlled](const Request& request) { return Expire(controlled.tokens, request); }));
    server.Get("/faults", Command([controlled](const Request&) { return ListOf(controlled.faults); }));
    server.Post("/faults", Command([controlled](const Request& request) {
                    controlled.faults.Add(FaultFromJson(ParseJsonObject(request.body, "request")));
                    return Json::Value(Json::objectValue);
                }));
    server.Delete("/faults", Command([controlled](const Request&) {
                      controlled.faults.Clear();
                      return Json::Value(Json::objectValue);
                  }));
    server.Post("/stop", Command([controlled](const Request&) {
                    controlled.stop();
                    return Json::Value(Json::objectValue);
                }));
    const int port = server.bind_to_any_port("127.0.0.1");
    if (port <= 0) {
        throw std::runtime_error("could not listen for commands on 127.0.0.1");
    }
    return port;
}

}  // namespace LocalCloud
