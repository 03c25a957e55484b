#include "Cloud/Server/ControlServer.h"

#include <charconv>
#include <utility>

#include "Cloud/Util/Crypto.h"
#include "Cloud/Util/Errors.h"
#include "Cloud/Util/Json.h"

namespace LocalCloud {

namespace {

constexpr char JSON_TYPE[] = "application/json";
constexpr int BAD_REQUEST = 400;
constexpr int FORBIDDEN = 403;
constexpr int FAILED = 500;
constexpr std::size_t THREADS = 2;

void Reply(httplib::Response& response, const Json::Value& value) {
    response.set_content(CompactJson(value), JSON_TYPE);
}

/** Answers with what becomes of the request's JSON object, or with why it makes no sense. */
httplib::Server::Handler Judged(const std::function<Json::Value(const Json::Value&)>& carryOut) {
    return [carryOut](const httplib::Request& request, httplib::Response& response) {
        Json::Value reply;
        try {
            reply = carryOut(ParseJsonObject(request.body, "request"));
        } catch (const UsageError& error) {
            response.status = BAD_REQUEST;
            reply["error"] = error.what();
        } catch (const std::exception& error) {
            response.status = FAILED;
            reply["error"] = error.what();
        }
        Reply(response, reply);
    };
}

}  // namespace

ControlServer::ControlServer(const Folder& folder, FaultPlan& faults, const ExchangeLog& exchanges,
                             TokenStore& tokens, std::function<Json::Value()> status,
                             std::function<void()> stop)
    : m_secret(folder.ControlSecret()),
      m_faults(faults),
      m_exchanges(exchanges),
      m_tokens(tokens),
      m_status(std::move(status)),
      m_stop(std::move(stop)),
      m_server((folder.TlsFolder() + "/server.pem").c_str(), (folder.TlsFolder() + "/server.key").c_str()),
      m_port(m_server.bind_to_any_port("127.0.0.1")) {
    if (m_port <= 0) {
        throw CloudError("could not listen for commands on 127.0.0.1");
    }
    m_server.new_task_queue = [] { return new httplib::ThreadPool(THREADS); };
    m_server.set_keep_alive_max_count(1);
    SetUpRoutes();
    SetUpFaultRoutes();
    m_listening.emplace(m_server, [] {});
}

void ControlServer::SetUpRoutes() {
    using httplib::Request;
    using httplib::Response;
    m_server.set_pre_routing_handler([this](const Request& request, Response& response) {
        if (SameSecret(request.get_header_value(CONTROL_SECRET_HEADER), m_secret)) {
            return httplib::Server::HandlerResponse::Unhandled;
        }
        response.status = FORBIDDEN;
        return httplib::Server::HandlerResponse::Handled;
    });
    m_server.Get("/status", [this](const Request&, Response& response) { Reply(response, m_status()); });
    m_server.Get("/exchanges", [this](const Request& request, Response& response) {
        std::int64_t after = 0;
        const std::string text = request.get_param_value("after");
        std::from_chars(text.data(), text.data() + text.size(), after);
        response.set_content("{\"exchanges\":" + m_exchanges.After(after) + "}", JSON_TYPE);
    });
    m_server.Post("/expire", Judged([this](const Json::Value& what) {
                      Json::Value reply;
                      reply["expired"] =
                          Json::Int64(m_tokens.Expire(TextMember(what, "kind"), TextMember(what, "user")));
                      return reply;
                  }));
    m_server.Post("/stop", [this](const Request&, Response& response) {
        Reply(response, Json::objectValue);
        m_stop();
    });
}

void ControlServer::SetUpFaultRoutes() {
    using httplib::Request;
    using httplib::Response;
    m_server.Get("/faults", [this](const Request&, Response& response) {
        Json::Value list;
        list["faults"] = Json::arrayValue;
        for (const auto& fault : m_faults.List()) {
            list["faults"].append(ToJson(fault));
        }
        Reply(response, list);
    });
    m_server.Post("/faults", Judged([this](const Json::Value& planned) {
                      const Fault fault = FaultFromJson(planned);
                      m_faults.Add(fault);
                      Json::Value reply = ToJson(fault);
                      reply.removeMember("body_base64url");
                      return reply;
                  }));
    m_server.Delete("/faults", [this](const Request&, Response& response) {
        m_faults.Clear();
        Reply(response, Json::objectValue);
    });
}

}  // namespace LocalCloud
