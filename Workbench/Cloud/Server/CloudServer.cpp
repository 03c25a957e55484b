#include "Cloud/Server/CloudServer.h"

#include <netinet/tcp.h>
#include <openssl/err.h>

#include <chrono>
#include <stdexcept>
#include <utility>

#include "Cloud/Protocol/CloudRequests.h"

namespace LocalCloud {

namespace {

constexpr char LOOPBACK[] = "127.0.0.1";
constexpr char JSON_TYPE[] = "application/json;charset=UTF-8";

// A client may keep its connections as long as it likes: enough for a fleet of simulated televisions.
constexpr std::size_t THREADS = 256;
constexpr std::size_t REQUESTS_PER_CONNECTION = 100'000;
constexpr std::size_t LARGEST_REQUEST = 1U << 20U;
constexpr time_t SOCKET_TIMEOUT_SECONDS = 10;
constexpr std::chrono::seconds KEEP_ALIVE(10);
constexpr int LENGTH_REQUIRED = 411;

/**
 * The exchange that a thread is busy with. The library hands its callbacks the request alone, and serves a
 * connection on one thread from beginning to end.
 */
Exchange& ThisThread() {
    thread_local Exchange current;
    return current;
}

using SetUp = std::function<void(httplib::Request&)>;

// The library's function takes the addresses of both sides, too, from 0.15 on; the compiler picks the right
// one.
[[maybe_unused]] bool Process(httplib::Server& server,
                              bool (httplib::Server::*process)(httplib::Stream&, bool, bool&, const SetUp&),
                              httplib::Stream& stream, bool& closed) {
    return (server.*process)(stream, false, closed, nullptr);
}
[[maybe_unused]] bool Process(httplib::Server& server,
                              bool (httplib::Server::*process)(httplib::Stream&, const std::string&, int,
                                                               const std::string&, int, bool, bool&,
                                                               const SetUp&),
                              httplib::Stream& stream, bool& closed) {
    return (server.*process)(stream, LOOPBACK, 0, LOOPBACK, 0, false, closed, nullptr);
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

std::string NoteOf(const std::optional<Fault>& fault) {
    return fault ? " (fault: " + fault->Describe() + ")" : "";
}

}  // namespace

CloudServer::CloudServer(const TlsContexts& tls, FaultPlan& faults, Console& console, ExchangeLog& exchanges)
    : m_tls(tls), m_faults(faults), m_console(console), m_exchanges(exchanges) {
    new_task_queue = [] { return new httplib::ThreadPool(THREADS); };
    set_keep_alive_max_count(REQUESTS_PER_CONNECTION);
    set_keep_alive_timeout(KEEP_ALIVE.count());
    set_payload_max_length(LARGEST_REQUEST);
    set_socket_options([](socket_t socket) {
        // Not the library's SO_REUSEPORT, with which a second server would silently share the port.
        const int on = 1;
        ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
    });
    // Called for every answer, also to what is no request.
    set_logger([](const httplib::Request& request, const httplib::Response& response) {
        Exchange& exchange = ThisThread();
        exchange.method = request.method.empty() ? "?" : request.method;
        exchange.target = request.target.empty() ? "?" : request.target;
        exchange.status = response.status;
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
        httplib::Server::Handler([](const httplib::Request& /*request*/, httplib::Response& response) {
            Exchange& exchange = ThisThread();
            if (!exchange.decided.empty()) {
                return;
            }
            const Answer answer =
                response.status == LENGTH_REQUIRED
                    ? Refusal(ResultCode::BadRequest, "the header Content-Length is missing")
                : response.status == 404 ? Refusal(ResultCode::NotFound, "there is nothing here")
                                         : Refusal(ResultCode::BadRequest, "this is no request");
            exchange.decided = answer.decided;
            response.set_content(answer.body, JSON_TYPE);
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
        throw std::runtime_error("could not listen on port " + std::to_string(port) +
                                 " of 127.0.0.1; another program may have it: try --port 0");
    }
    // The library has five connections wait; the sixth of a fleet would come again after a second.
    ::listen(svr_sock_, SOMAXCONN);
    return port;
}

void CloudServer::EndConnections() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_ends = true;
    for (const socket_t socket : m_sockets) {
        ::shutdown(socket, SHUT_RDWR);
    }
}

CloudServer::Counts CloudServer::Counted() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_counts;
}

void CloudServer::Count(const char* what) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    ++m_counts[what];
}

bool CloudServer::process_and_close_socket(socket_t socket) {
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_ends) {
            ::close(socket);
            return true;
        }
        m_sockets.insert(socket);
    }
    try {
        ServeConnection(socket);
    } catch (const std::exception& error) {
        m_console.Complain(std::string("a connection is lost: ") + error.what());
    }
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_sockets.erase(socket);
    ::close(socket);
    return true;
}

void CloudServer::ServeConnection(socket_t socket) {
    Count("connections");
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
    bool asked = false;
    while (goesOn && connection.WaitForRequest(KEEP_ALIVE)) {
        if (fault && !asked) {
            m_console.ShowConnection("TLS handshake accepted by the client all the same" + NoteOf(fault));
        }
        asked = true;
        goesOn = ServeRequest(connection);
    }
    // A client may look at the certificate after a handshake that seems to go well.
    if (fault && !asked) {
        m_console.ShowConnection("the client left without a request" + NoteOf(fault));
    }
    if (connection.is_writable()) {
        SSL_shutdown(session.get());
    }
}

SslSession CloudServer::Handshake(socket_t socket, const std::optional<Fault>& fault) {
    const bool flawed = fault && fault->kind == FaultKind::Certificate;
    SslSession session = flawed  ? m_tls.NewFlawedSession(socket, fault->flaw)
                         : fault ? m_tls.NewOldSession(socket)
                                 : m_tls.NewSession(socket);
    ERR_clear_error();
    if (SSL_accept(session.get()) != 1) {
        Count("failed_handshakes");
        m_console.ShowConnection("TLS handshake failed: " + LastTlsError() + NoteOf(fault));
        return nullptr;
    }
    Count(SSL_session_reused(session.get()) == 1 ? "resumed_handshakes" : "full_handshakes");
    return session;
}

bool CloudServer::ServeRequest(Connection& connection) {
    Exchange& exchange = ThisThread();
    exchange = {};
    bool closed = false;
    const bool goesOn = Process(*this, &CloudServer::process_request, connection, closed) && !closed;
    if (exchange.status == 0) {
        return false;
    }
    exchange.request = connection.TakeRequest();
    exchange.answer = connection.TakeAnswer();
    Count("requests");
    // Before the answer goes out: who has it finds the exchange recorded.
    m_console.Show(m_exchanges.Add(exchange));
    return connection.Deliver(exchange.answer, exchange.fault) && goesOn && !exchange.closes;
}

void CloudServer::Respond(const Endpoint& endpoint, const Handler& handler, const httplib::Request& request,
                          httplib::Response& response) {
    Exchange& exchange = ThisThread();
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
    Answer answer;
    try {
        answer = handler(request);
    } catch (const std::exception& error) {
        answer = Refusal(ResultCode::InternalError, error.what());
    }
    exchange.decided = answer.decided;
    exchange.login = answer.login;
    response.status = answer.status;
    response.set_content(answer.body, JSON_TYPE);
}

}  // namespace LocalCloud
