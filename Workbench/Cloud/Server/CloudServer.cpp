#include "Cloud/Server/CloudServer.h"

#include <netinet/tcp.h>
#include <openssl/err.h>

#include <chrono>
#include <utility>

#include "Cloud/Server/ConnectionThreads.h"
#include "Cloud/Server/Delivery.h"
#include "Cloud/Service/CloudService.h"
#include "Cloud/Util/Errors.h"

namespace LocalCloud {

namespace {

constexpr char LOOPBACK[] = "127.0.0.1";
constexpr char JSON_TYPE[] = "application/json;charset=UTF-8";

constexpr std::size_t REQUESTS_PER_CONNECTION = 100'000;
constexpr std::size_t LARGEST_REQUEST = 1U << 20U;
constexpr time_t SOCKET_TIMEOUT_SECONDS = 10;
constexpr std::chrono::seconds KEEP_ALIVE(10);
constexpr int LENGTH_REQUIRED = 411;

/**
 * The exchange that a thread is busy with. The library hands its callbacks the request alone, and serves a
 * connection on one thread from beginning to end.
 */
struct Current {
    Exchange exchange;
    Connection* connection = nullptr;
};

Current& ThisThread() {
    thread_local Current current;
    return current;
}

void SetBody(httplib::Response& response, const std::shared_ptr<const std::string>& body) {
    // A provider sends the shared text as it lies in memory.
    response.set_content_provider(body->size(), JSON_TYPE,
                                  [body](std::size_t offset, std::size_t length, httplib::DataSink& sink) {
                                      return sink.write(body->data() + offset, length);
                                  });
}

void SetFaultAnswer(httplib::Response& response, const Fault& fault) {
    response.status = fault.status;
    for (const auto& line : fault.headers) {
        const auto colon = line.find(": ");
        response.set_header(line.substr(0, colon), line.substr(colon + 2));
    }
    response.set_content(fault.body, JSON_TYPE);
}

void SetSocketOptions(socket_t socket) {
    const int on = 1;
    const timeval timeout = {SOCKET_TIMEOUT_SECONDS, 0};
    ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
    ::setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof(timeout));
    ::setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &timeout, sizeof(timeout));
}

void AnswerInPlainHttp(socket_t socket) {
    constexpr char ANSWER[] =
        "HTTP/1.1 400 Bad Request\r\nContent-Type: text/plain\r\nContent-Length: 27\r\nConnection: "
        "close\r\n\r\n"
        "This server knows no HTTPS\n";
    std::array<char, 4096> hello = {};
    // Unread input would reset the connection and take the answer with it.
    if (::recv(socket, hello.data(), hello.size(), 0) > 0) {
        ::send(socket, ANSWER, sizeof(ANSWER) - 1, MSG_NOSIGNAL);
    }
}

std::string LastTlsError() {
    const char* reason = ERR_reason_error_string(ERR_get_error());
    ERR_clear_error();
    return reason != nullptr ? reason : "the peer went away";
}

}  // namespace

CloudServer::CloudServer(const TlsContexts& tls, FaultPlan& faults, Console& console, Recorder* recorder)
    : m_tls(tls), m_faults(faults), m_console(console), m_recorder(recorder) {
    new_task_queue = [] { return new ConnectionThreads; };
    set_keep_alive_max_count(REQUESTS_PER_CONNECTION);
    set_keep_alive_timeout(KEEP_ALIVE.count());
    set_payload_max_length(LARGEST_REQUEST);
    set_socket_options([](socket_t socket) {
        // Not the library's SO_REUSEPORT, with which a second server would silently share the port.
        const int on = 1;
        ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
    });
    SetUpErrorAnswers();
}

void CloudServer::SetUpErrorAnswers() {
    set_pre_routing_handler([](const httplib::Request& request, httplib::Response& response) {
        if (request.method != "POST" || request.has_header("Content-Length")) {
            return HandlerResponse::Unhandled;
        }
        // The library would read until the peer closes.
        response.status = LENGTH_REQUIRED;
        return HandlerResponse::Handled;
    });
    set_error_handler(
        httplib::Server::Handler([](const httplib::Request& request, httplib::Response& response) {
            Exchange& exchange = ThisThread().exchange;
            if (!exchange.decided.empty()) {
                return;
            }
            const Answer answer =
                response.status == LENGTH_REQUIRED
                    ? Refusal(ResultCode::BadRequest, "the header Content-Length is missing")
                : response.status == 404 ? Refusal(ResultCode::NotFound, "there is nothing here")
                                         : Refusal(ResultCode::BadRequest, "this is no request");
            exchange.method = request.method.empty() ? "?" : request.method;
            exchange.target = request.target.empty() ? "?" : request.target;
            exchange.decided = answer.decided;
            response.set_content(*answer.body, JSON_TYPE);
        }));
}

void CloudServer::Route(const Endpoint& endpoint, const Handler& handler) {
    const auto respond = [this, endpoint, handler](const httplib::Request& request,
                                                   httplib::Response& response) {
        Respond(endpoint, handler, request, response);
    };
    if (std::string(endpoint.method) == "GET") {
        Get(endpoint.path, respond);
    } else {
        Post(endpoint.path, respond);
    }
}

int CloudServer::Bind(int port) {
    const bool bound = port == 0 ? (port = bind_to_any_port(LOOPBACK)) > 0 : bind_to_port(LOOPBACK, port);
    if (!bound) {
        throw CloudError("could not listen on port " + std::to_string(port) +
                         " of 127.0.0.1; another program may have it: try --port 0");
    }
    // The library has five connections wait; the sixth of a fleet would come again after a second.
    ::listen(svr_sock_, SOMAXCONN);
    return port;
}

void CloudServer::Stop() {
    m_stop.Raise();
    stop();
    const std::lock_guard<std::mutex> lock(m_socketsMutex);
    for (const socket_t socket : m_sockets) {
        ::shutdown(socket, SHUT_RDWR);
    }
}

bool CloudServer::process_and_close_socket(socket_t socket) {
    {
        const std::lock_guard<std::mutex> lock(m_socketsMutex);
        m_sockets.insert(socket);
    }
    try {
        ServeConnection(socket);
    } catch (const std::exception& error) {
        m_console.Say(std::string("connection lost: ") + error.what());
    }
    const std::lock_guard<std::mutex> lock(m_socketsMutex);
    m_sockets.erase(socket);
    ::close(socket);
    return true;
}

void CloudServer::ServeConnection(socket_t socket) {
    if (m_stop.IsRaised()) {
        return;
    }
    ++m_statistics.connections;
    SetSocketOptions(socket);
    const auto fault = m_faults.TakeForConnection();
    if (fault && fault->kind == FaultKind::Plain) {
        AnswerInPlainHttp(socket);
        m_console.ShowConnection("connection answered in plain HTTP (fault: plain)");
        return;
    }
    const SslSession session = Handshake(socket, fault);
    if (!session) {
        return;
    }
    Connection connection(session.get(), socket);
    bool goesOn = true;
    while (goesOn && !m_stop.IsRaised() && connection.WaitForInput(KEEP_ALIVE)) {
        goesOn = ServeRequest(connection);
    }
    if (connection.is_writable()) {
        SSL_shutdown(session.get());
    }
}

SslSession CloudServer::Handshake(socket_t socket, const std::optional<Fault>& fault) {
    SslSession session = m_tls.NewSession(socket, fault);
    ERR_clear_error();
    const bool accepted = SSL_accept(session.get()) == 1;
    const std::string note = fault ? " (fault: " + fault->Describe() + ")" : "";
    if (!accepted) {
        ++m_statistics.failedHandshakes;
        m_console.ShowConnection("TLS handshake failed: " + LastTlsError() + note);
        return nullptr;
    }
    if (fault) {
        m_console.ShowConnection("TLS handshake accepted by the client all the same" + note);
    }
    ++(SSL_session_reused(session.get()) == 1 ? m_statistics.resumedHandshakes : m_statistics.fullHandshakes);
    return session;
}

bool CloudServer::ServeRequest(Connection& connection) {
    Current& current = ThisThread();
    current = Current{{}, &connection};
    connection.BeginExchange(m_recorder != nullptr ? Connection::Keep::Everything
                                                   : Connection::Keep::StatusLine);
    bool closed = false;
    bool goesOn = process_request(connection, false, closed, nullptr) && !closed;
    Exchange& exchange = current.exchange;
    exchange.status = connection.Status();
    if (exchange.status == 0) {
        return false;
    }
    ++m_statistics.requests;
    m_console.Show(exchange);
    if (m_recorder != nullptr) {
        m_recorder->Write(exchange, connection.Request(), connection.Answer());
    }
    if (exchange.fault && !exchange.fault->ReplacesAnswer()) {
        goesOn = DeliverWithFault(*exchange.fault, connection.Answer(), connection, m_stop) && goesOn;
    }
    return goesOn && !exchange.closes;
}

void CloudServer::Respond(const Endpoint& endpoint, const Handler& handler, const httplib::Request& request,
                          httplib::Response& response) {
    auto& [exchange, connection] = ThisThread();
    exchange.method = request.method;
    exchange.target = request.target;
    exchange.fault = m_faults.TakeForRequest(endpoint.name);
    if (m_faults.WaitsForConnection()) {
        exchange.closes = true;
        response.set_header("Connection", "close");
    }
    if (exchange.fault && exchange.fault->ReplacesAnswer()) {
        exchange.decided = "as planned";
        SetFaultAnswer(response, *exchange.fault);
        return;
    }
    if (exchange.fault) {
        connection->HoldAnswer();
    }
    Answer answer;
    try {
        answer = handler(request);
    } catch (const std::exception& error) {
        answer = Refusal(ResultCode::InternalError, error.what());
    }
    exchange.decided = answer.decided;
    exchange.login = answer.login;
    response.status = answer.status;
    SetBody(response, answer.body);
}

}  // namespace LocalCloud
