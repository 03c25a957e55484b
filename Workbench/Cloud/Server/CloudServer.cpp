#include "Cloud/Server/CloudServer.h"

#include <netinet/tcp.h>
#include <openssl/err.h>
#include <poll.h>

#include <cstdlib>
#include <map>
#include <stdexcept>
#include <utility>

#include "Cloud/Server/Misbehaviour.h"

namespace LocalCloud {

namespace {

constexpr char LOOPBACK[] = "127.0.0.1";
constexpr char JSON_TYPE[] = "application/json;charset=UTF-8";

// More than there are connections, so that one is at hand which sees that there are too many.
constexpr int LONGEST_SILENCE = 10'000;                   // in milliseconds, of a new connection
constexpr std::size_t REQUESTS_PER_CONNECTION = 100'000;  // as the clients are told
constexpr std::size_t THREADS = Connections::MOST + 16;

constexpr ReadRefusal LENGTH_REQUIRED = {411, "Length Required", "the header Content-Length is missing"};
constexpr ReadRefusal ENCODED = {415, "Unsupported Media Type", "no Content-Encoding is known here"};

/**
 * What a thread is busy with. The library hands its callbacks the request alone, and serves a connection on
 * one thread from beginning to end.
 */
struct Serving {
    Connection* connection = nullptr;
    Exchange exchange;
    std::optional<Fault> fault;
    /** Whether the connection must not be used again. */
    bool closes = false;
};

Serving& ThisThread() {
    thread_local Serving current;
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

/** What the headers say that the library would take without a bound; null where nothing is wrong. */
const ReadRefusal* FindRefusal(const httplib::Request& request) {
    if (request.method == "GET" || request.method == "HEAD" || request.method == "OPTIONS") {
        return nullptr;
    }
    if (!request.has_header("Content-Length")) {
        return &LENGTH_REQUIRED;  // it would read until the peer closes
    }
    const std::string length = request.get_header_value("Content-Length");
    if (std::strtoull(length.c_str(), nullptr, 10) > LARGEST_BODY) {
        return &BODY_TOO_LARGE;  // it would read all the same, to leave it out
    }
    return request.has_header("Content-Encoding") ? &ENCODED : nullptr;
}

/** What became of a request that was not read to its end; the library's own answer is dropped. */
void Override(Exchange& exchange, const ReadRefusal& refusal) {
    const Answer answer = Refusal(ResultCode::BAD_REQUEST, refusal.message);
    exchange.status = refusal.status;
    exchange.decided = answer.decided;
    exchange.answer = "HTTP/1.1 " + std::to_string(refusal.status) + " " + refusal.statusText +
                      "\r\nContent-Type: " + JSON_TYPE +
                      "\r\nContent-Length: " + std::to_string(answer.body.size()) +
                      "\r\nConnection: close\r\n\r\n" + answer.body;
}

/** Waits for the first byte: a connection that brings none costs next to nothing. */
bool HasBegun(socket_t socket) {
    pollfd descriptor = {socket, POLLIN, 0};
    char first = 0;
    return ::poll(&descriptor, 1, LONGEST_SILENCE) > 0 && ::recv(socket, &first, 1, MSG_PEEK) == 1;
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

CloudServer::CloudServer(Cloud& cloud, const TlsContexts& tls, FaultPlan& faults, ExchangeLog& exchanges,
                         Console& console)
    : m_cloud(cloud), m_tls(tls), m_faults(faults), m_exchanges(exchanges), m_console(console) {
    new_task_queue = [] { return new httplib::ThreadPool(THREADS); };
    set_payload_max_length(LARGEST_BODY);
    set_keep_alive_max_count(REQUESTS_PER_CONNECTION);
    set_keep_alive_timeout(Connection::KEEP_ALIVE.count());
    set_socket_options([](socket_t socket) {
        // Not the library's SO_REUSEPORT, with which a second server would silently share the port.
        const int on = 1;
        ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
    });
    set_pre_routing_handler([](const httplib::Request& request, httplib::Response& /*response*/) {
        const ReadRefusal* refusal = FindRefusal(request);
        if (refusal == nullptr) {
            return HandlerResponse::Unhandled;
        }
        ThisThread().connection->Refuse(*refusal);
        return HandlerResponse::Handled;
    });
    // Called for every answer, also to what is no request.
    set_logger([](const httplib::Request& request, const httplib::Response& response) {
        Exchange& exchange = ThisThread().exchange;
        exchange.method = request.method;
        exchange.target = request.target;
        exchange.status = response.status;
    });
    set_error_handler(
        httplib::Server::Handler([](const httplib::Request& /*request*/, httplib::Response& response) {
            Exchange& exchange = ThisThread().exchange;
            if (exchange.decided.empty()) {
                const Answer answer = response.status == 404
                                          ? Refusal(ResultCode::NOT_FOUND, "there is nothing here")
                                          : Refusal(ResultCode::BAD_REQUEST, "this is no request");
                exchange.decided = answer.decided;
                response.set_content(answer.body, JSON_TYPE);
            }
        }));
    for (const Endpoint& endpoint : ENDPOINTS) {
        Route(endpoint);
    }
}

void CloudServer::Route(const Endpoint& endpoint) {
    using Register = httplib::Server& (httplib::Server::*)(const std::string&, Handler);
    const std::map<std::string, Register> methods = {
        {"GET", &httplib::Server::Get},       {"POST", &httplib::Server::Post},
        {"PUT", &httplib::Server::Put},       {"PATCH", &httplib::Server::Patch},
        {"DELETE", &httplib::Server::Delete}, {"OPTIONS", &httplib::Server::Options}};
    (this->*methods.at(endpoint.method))(
        endpoint.path, [this, endpoint](const httplib::Request& request, httplib::Response& response) {
            Respond(endpoint, request, response);
        });
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

void CloudServer::Listen(ServerState& state) {
    m_state = &state;
    listen_after_bind();
}

bool CloudServer::process_and_close_socket(socket_t socket) {
    if (m_connections.Enter(socket)) {
        if (const auto waited = m_connections.MakeRoom()) {
            m_console.ShowConnection("too many connections: one that was silent for " +
                                     std::to_string(waited->count()) + " ms is ended");
        }
        try {
            ServeConnection(socket);
        } catch (const std::exception& error) {
            m_console.Complain(std::string("a connection is lost: ") + error.what());
        }
    }
    m_connections.Leave(socket);
    ::close(socket);
    return true;
}

void CloudServer::ServeConnection(socket_t socket) {
    if (!HasBegun(socket)) {
        return;
    }
    m_state->Count(&Counts::connections);
    const int on = 1;
    ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
    const auto fault = m_faults.TakeForConnection();
    SslSession session = BeginSession(m_tls, socket, fault);
    if (!session) {
        m_console.ShowConnection("connection answered without TLS" + NoteOf(fault));
        return;
    }
    const SSL* ssl = session.get();
    Connection connection(std::move(session), socket);
    if (!Handshake(connection, ssl, fault)) {
        return;
    }
    bool goesOn = true;
    bool asked = false;
    while (goesOn && connection.WaitForRequest()) {
        if (fault && !asked) {
            m_console.ShowConnection("TLS handshake accepted by the client all the same" + NoteOf(fault));
        }
        asked = true;
        goesOn = ServeRequest(connection);
        m_connections.SetWaiting(socket, true);
    }
    // A client may look at the certificate after a handshake that seems to go well.
    if (fault && !asked) {
        m_console.ShowConnection("the client left without a request" + NoteOf(fault));
    }
    connection.End();
}

bool CloudServer::Handshake(Connection& connection, const SSL* session, const std::optional<Fault>& fault) {
    if (!connection.Handshake()) {
        m_state->Count(&Counts::failedHandshakes);
        m_console.ShowConnection("TLS handshake failed: " + LastTlsError() + NoteOf(fault));
        return false;
    }
    m_state->Count(SSL_session_reused(session) == 1 ? &Counts::resumedHandshakes : &Counts::fullHandshakes);
    return true;
}

bool CloudServer::ServeRequest(Connection& connection) {
    Serving& serving = ThisThread();
    serving = {};
    serving.connection = &connection;
    Exchange& exchange = serving.exchange;
    bool closed = false;
    bool goesOn =
        Process(*this, &CloudServer::process_request, connection, closed) && !closed && !serving.closes;
    exchange.request = connection.Request();
    exchange.answer = connection.TakeAnswer();
    if (const ReadRefusal* refusal = connection.Refusal()) {
        Override(exchange, *refusal);
        goesOn = false;
    }
    if (exchange.status == 0) {
        return false;
    }
    m_state->Count(&Counts::requests);
    // Before the answer goes out: who has it finds the exchange recorded.
    Json::Value kept;
    const std::string missing = m_exchanges.Add(exchange, kept);
    if (!missing.empty()) {
        m_console.Complain(missing);
    }
    m_console.Show(kept);
    return Deliver(connection, exchange.answer, serving.fault) && goesOn;
}

Answer CloudServer::AnswerTo(const Endpoint& endpoint, const httplib::Request& request) {
    Serving& serving = ThisThread();
    serving.exchange.endpoint = endpoint.name;
    serving.closes = m_faults.WaitsForConnection();
    serving.fault = m_faults.TakeForRequest(endpoint.name);
    if (serving.fault) {
        serving.exchange.fault = serving.fault->Describe();
        if (RowOf(serving.fault->kind).hits == Hits::REQUEST) {
            return {serving.fault->status, serving.fault->body, "as planned", ""};
        }
    }
    return endpoint.answer(m_cloud, request);
}

void CloudServer::Respond(const Endpoint& endpoint, const httplib::Request& request,
                          httplib::Response& response) {
    Serving& serving = ThisThread();
    m_connections.SetWaiting(serving.connection->socket(), false);
    Answer answer;
    try {
        answer = AnswerTo(endpoint, request);
    } catch (const std::exception& error) {
        answer = Refusal(ResultCode::INTERNAL_ERROR, error.what());
    }
    for (const auto& line : serving.fault ? serving.fault->headers : std::vector<std::string>()) {
        const auto colon = line.find(": ");
        response.set_header(line.substr(0, colon), line.substr(colon + 2));
    }
    if (serving.closes) {
        response.set_header("Connection", "close");
    }
    serving.exchange.decided = answer.decided;
    serving.exchange.login = answer.login;
    response.status = answer.status;
    response.set_content(answer.body, JSON_TYPE);
}

}  // namespace LocalCloud
