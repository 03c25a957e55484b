#include "Cloud/Server/CloudServer.h"

#include <netinet/tcp.h>
#include <openssl/err.h>
#include <poll.h>
#include <sys/socket.h>

#include <iostream>
#include <stdexcept>
#include <utility>

#include "Cli/Text.h"
#include "Cli/Time.h"

namespace LocalCloud {

namespace {

constexpr char LOOPBACK[] = "127.0.0.1";
constexpr char JSON_TYPE[] = "application/json;charset=UTF-8";

constexpr int LONGEST_SILENCE = 10'000;                   // in milliseconds, of a new connection
constexpr std::size_t REQUESTS_PER_CONNECTION = 100'000;  // as the clients are told
// More than there are connections, so that one is at hand which sees that there are too many.
constexpr std::size_t THREADS = Connections::MOST + 16;

// The library's function takes the addresses of both sides, too, from 0.15 on.
template <typename... More>
bool Process(httplib::Server& server, bool (httplib::Server::*process)(httplib::Stream&, More...),
             httplib::Stream& stream, bool& closed) {
    if constexpr (sizeof...(More) == 3) {
        return (server.*process)(stream, false, closed, nullptr);
    } else {
        return (server.*process)(stream, LOOPBACK, 0, LOOPBACK, 0, false, closed, nullptr);
    }
}

/** The answer to a request that is not looked at. */
std::string TextOf(const Objection& objection, const Answer& answer) {
    return "HTTP/1.1 " + std::to_string(objection.status) + " " + objection.statusText +
           "\r\nContent-Type: " + JSON_TYPE + "\r\nContent-Length: " + std::to_string(answer.body.size()) +
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

/** What is wrong with the server itself. */
void Complain(const std::string& what) {
    std::cerr << "infosync-cloud: " + Cli::Escape(what) + "\n" << std::flush;
}

std::string NoteOf(const std::optional<Fault>& fault) {
    return fault ? " (fault: " + fault->Describe() + ")" : "";
}

}  // namespace

CloudServer::CloudServer(Cloud& cloud, ServerState& state)
    : m_cloud(cloud),
      m_state(state),
      m_tls(cloud.folder.TlsFolder()),
      m_faults(cloud.folder),
      m_exchanges(cloud.folder) {
    new_task_queue = [] { return new httplib::ThreadPool(THREADS); };
    set_keep_alive_max_count(REQUESTS_PER_CONNECTION);
    set_keep_alive_timeout(Connection::KEEP_ALIVE.count());
    set_socket_options([](socket_t socket) {
        // Not the library's SO_REUSEPORT, with which a second server would silently share the port.
        const int on = 1;
        ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
    });
    // Called for every answer, also to what is no request.
    set_logger([this](const httplib::Request& /*request*/, const httplib::Response& response) {
        m_exchange["response"]["status"] = response.status;
    });
    set_error_handler(
        httplib::Server::Handler([this](const httplib::Request& /*request*/, httplib::Response& response) {
            if (!m_exchange.isMember("decided")) {
                const Answer answer = response.status == 404
                                          ? Refusal(ResultCode::NOT_FOUND, "there is nothing here")
                                          : Refusal(ResultCode::BAD_REQUEST, "this is no request");
                m_exchange["decided"] = answer.decided;
                response.set_content(answer.body, JSON_TYPE);
            }
        }));
    for (const Endpoint& endpoint : ENDPOINTS) {
        (this->*endpoint.serve)(
            endpoint.path, [this, endpoint](const httplib::Request& request, httplib::Response& response) {
                Respond(endpoint, request, response);
            });
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

void CloudServer::Say(const std::string& line) {
    const std::lock_guard<std::mutex> lock(m_saying);
    std::cout << line << std::endl;
}

void CloudServer::ShowConnection(const std::string& what) {
    Say(Cli::TimeOfDay(Cli::Timestamp()) + " " + Cli::Escape(what));
}

bool CloudServer::process_and_close_socket(socket_t socket) {
    if (m_connections.Enter(socket)) {
        if (m_connections.MakeRoom()) {
            ShowConnection("too many connections: the one that was silent longest is ended");
        }
        try {
            ServeConnection(socket);
        } catch (const std::exception& error) {
            Complain(std::string("a connection is lost: ") + error.what());
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
    m_state.Count("connections");
    const int on = 1;
    ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
    const auto fault = m_faults.Take("");
    SslSession session = BeginSession(m_tls, socket, fault);
    if (!session) {
        ShowConnection("connection answered without TLS" + NoteOf(fault));
        return;
    }
    const SSL* ssl = session.get();
    Connection connection(std::move(session), socket);
    if (!Handshake(connection, ssl, fault)) {
        return;
    }
    bool goesOn = true;
    bool asked = false;
    while (goesOn && connection.ReadRequest()) {
        if (fault && !asked) {
            ShowConnection("TLS handshake accepted by the client all the same" + NoteOf(fault));
        }
        asked = true;
        m_connections.SetWaiting(socket, false);
        goesOn = ServeRequest(connection);
        m_connections.SetWaiting(socket, true);
    }
    // A client may look at the certificate after a handshake that seems to go well.
    if (fault && !asked) {
        ShowConnection("the client left without a request" + NoteOf(fault));
    }
    connection.End();
}

bool CloudServer::Handshake(Connection& connection, const SSL* session, const std::optional<Fault>& fault) {
    if (!connection.Handshake()) {
        m_state.Count("failed_handshakes");
        ShowConnection("TLS handshake failed: " + LastTlsError() + NoteOf(fault));
        return false;
    }
    m_state.Count(SSL_session_reused(session) == 1 ? "resumed_handshakes" : "full_handshakes");
    return true;
}

std::string CloudServer::Answered(Connection& connection) {
    const Objection* objection = connection.FoundObjection();
    if (objection != nullptr) {
        const Answer answer = Refusal(ResultCode::BAD_REQUEST, objection->message);
        m_exchange["response"]["status"] = objection->status;
        m_exchange["decided"] = answer.decided;
        m_closes = true;
        return TextOf(*objection, answer);
    }
    bool closed = false;
    m_closes = !Process(*this, &CloudServer::process_request, connection, closed) || closed || m_closes;
    return connection.TakeAnswer();
}

bool CloudServer::ServeRequest(Connection& connection) {
    // Of a request that is not looked at, little is worth keeping.
    constexpr std::size_t LONGEST_KEPT = 4096;
    std::unique_lock<std::mutex> oneAtATime(m_answering);
    m_fault.reset();
    m_closes = false;
    const std::string request = connection.Request();
    const auto words = Split(request.substr(0, request.find(LINE_END)), ' ');
    m_exchange = Json::objectValue;
    m_exchange["method"] = words.front();
    m_exchange["path"] = words.size() > 1 ? words[1] : "";
    m_exchange["endpoint"] = Json::nullValue;
    m_exchange["user"] = "";
    const std::string answer = Answered(connection);
    TakeApart(m_exchange["request"],
              connection.FoundObjection() != nullptr ? request.substr(0, LONGEST_KEPT) : request);
    TakeApart(m_exchange["response"], answer);
    m_state.Count("requests");
    // Before the answer goes out: who has it finds the exchange recorded.
    try {
        m_exchanges.Add(m_exchange);
    } catch (const std::exception& error) {
        Complain(error.what());
    }
    Say(ExchangeLine(m_exchange, m_style));
    m_exchange.clear();
    const auto fault = std::move(m_fault);
    const bool goesOn = !m_closes;
    oneAtATime.unlock();
    return SendAnswer(connection, answer, fault) && goesOn;
}

Answer CloudServer::Decide(const Endpoint& endpoint, const httplib::Request& request) {
    m_exchange["endpoint"] = endpoint.name;
    try {
        m_closes = m_faults.WaitsForConnection();
        m_fault = m_faults.Take(endpoint.name);
        if (m_fault) {
            m_exchange["fault"] = m_fault->Describe();
            if (const auto* makeBody = std::get_if<MakeBody>(&m_fault->kind->deed)) {
                return {m_fault->plan["status"].asInt(), (*makeBody)(*m_fault), "as planned", ""};
            }
        }
    } catch (const std::exception& error) {
        return Refusal(ResultCode::INTERNAL_ERROR, error.what());
    }
    return AnswerTo(endpoint, m_cloud, request);
}

void CloudServer::Respond(const Endpoint& endpoint, const httplib::Request& request,
                          httplib::Response& response) {
    const Answer answer = Decide(endpoint, request);
    for (const auto& header : m_fault ? m_fault->plan["headers"] : Json::Value()) {
        const std::string line = header.asString();
        const auto colon = line.find(": ");
        response.set_header(line.substr(0, colon), line.substr(colon + 2));
    }
    if (m_closes) {
        response.set_header("Connection", "close");
    }
    m_exchange["decided"] = answer.decided;
    m_exchange["user"] = answer.login;
    response.status = answer.status;
    response.set_content(answer.body, JSON_TYPE);
}

}  // namespace LocalCloud
