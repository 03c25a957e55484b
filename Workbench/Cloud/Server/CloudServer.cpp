#include "Cloud/Server/CloudServer.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <iostream>
#include <stdexcept>
#include <utility>

#include "Cli/Text.h"
#include "Cli/Time.h"

namespace LocalCloud {

namespace {

constexpr char LOOPBACK[] = "127.0.0.1";

// A client may keep its connections as long as it likes: enough for a fleet of simulated televisions.
constexpr std::size_t MOST_CONNECTIONS = 240;
// More than that, so that one is at hand which sees that there are too many.
constexpr std::size_t THREADS = MOST_CONNECTIONS + 16;
constexpr std::size_t REQUESTS_PER_CONNECTION = 100'000;  // as the clients are told
constexpr auto NOT_WAITING = std::chrono::steady_clock::time_point::max();

// The library's function takes the addresses of both sides, too, from 0.15 on; new ones ask about WebSockets.
template <typename... More>
bool Process(httplib::Server& server, bool (httplib::Server::*process)(httplib::Stream&, More...),
             httplib::Stream& stream, bool& closed) {
    if constexpr (sizeof...(More) == 3) {
        return (server.*process)(stream, false, closed, nullptr);
    } else if constexpr (sizeof...(More) == 7) {
        return (server.*process)(stream, LOOPBACK, 0, LOOPBACK, 0, false, closed, nullptr);
    } else {
        return (server.*process)(stream, LOOPBACK, 0, LOOPBACK, 0, false, closed, nullptr, nullptr);
    }
}

/** Waits for the first byte: a connection that brings none costs next to nothing. */
bool HasBegun(int socket) {
    constexpr auto LONGEST = std::chrono::milliseconds(Connection::TIMEOUT).count();
    pollfd descriptor = {socket, POLLIN, 0};
    char first = 0;
    return ::poll(&descriptor, 1, LONGEST) > 0 && ::recv(socket, &first, 1, MSG_PEEK) == 1;
}

/** Shows a line, in one piece, where there is one for every request. */
void Say(const std::string& line) {
    std::cout << line + "\n" << std::flush;
}

/** What became of a connection. */
void Tell(const std::string& what, const std::optional<Fault>& fault = {}) {
    Say(Cli::TimeOfDay(Cli::Timestamp()) + " " +
        Cli::Escape(what + (fault ? " (fault: " + fault->Describe() + ")" : "")));
}

/** What is wrong with the server itself. */
void Complain(const std::string& what) {
    std::cerr << "infosync-cloud: " + Cli::Escape(what) + "\n" << std::flush;
}

}  // namespace

CloudServer::CloudServer(Cloud& cloud, ServerState& state)
    : m_cloud(cloud),
      m_state(state),
      m_tls(NewTlsContext(cloud.folder.TlsFolder())),
      m_exchanges(cloud.folder) {
    new_task_queue = [] { return new httplib::ThreadPool(THREADS); };
    set_keep_alive_max_count(REQUESTS_PER_CONNECTION);
    set_keep_alive_timeout(Connection::TIMEOUT.count());
    set_tcp_nodelay(true);
    set_socket_options([](socket_t socket) {
        // Not the library's SO_REUSEPORT, with which a second server would silently share the port.
        const int on = 1;
        ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
    });
    // Called for every answer that refuses, also to what is no request.
    set_error_handler(Handler(
        [this](const httplib::Request& /*request*/, httplib::Response& response) { Refuse(response); }));
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

void CloudServer::EndConnections() {
    const std::lock_guard<std::mutex> lock(m_connecting);
    m_ends = true;
    for (const auto& [socket, since] : m_waitingSince) {
        ::shutdown(socket, SHUT_RDWR);
    }
}

bool CloudServer::Enter(int socket) {
    const std::lock_guard<std::mutex> lock(m_connecting);
    m_waitingSince[socket] = Clock::now();
    const auto longest = std::min_element(m_waitingSince.begin(), m_waitingSince.end(),
                                          [](const auto& a, const auto& b) { return a.second < b.second; });
    if (m_waitingSince.size() > MOST_CONNECTIONS && longest->second != NOT_WAITING) {
        Tell("too many connections: the one that was silent longest is ended");
        ::shutdown(longest->first, SHUT_RDWR);
        // It is on its way out: the next one takes another.
        longest->second = NOT_WAITING;
    }
    return !m_ends;
}

void CloudServer::SetWaiting(int socket, bool isWaiting) {
    const std::lock_guard<std::mutex> lock(m_connecting);
    m_waitingSince[socket] = isWaiting ? Clock::now() : NOT_WAITING;
}

bool CloudServer::process_and_close_socket(socket_t socket) {
    try {
        if (Enter(socket) && HasBegun(socket)) {
            ServeConnection(socket);
        }
    } catch (const std::exception& error) {
        Complain(std::string("a connection is lost: ") + error.what());
    }
    const std::lock_guard<std::mutex> lock(m_connecting);
    m_waitingSince.erase(socket);
    ::close(socket);
    return true;
}

void CloudServer::ServeConnection(int socket) {
    m_state.Count("connections");
    const auto fault = TakeFault(m_cloud.folder, "");
    const TlsContext special =
        fault ? std::get<Begin>(fault->kind->deed)(m_cloud.folder, socket, *fault) : nullptr;
    if (fault && !special) {
        Tell("connection answered without TLS", fault);
        return;
    }
    Connection connection(special ? special.get() : m_tls.get(), socket);
    if (!connection.Handshake()) {
        m_state.Count("failed_handshakes");
        Tell("TLS handshake failed: " + TlsError("the peer went away"), fault);
        return;
    }
    m_state.Count(connection.IsResumed() ? "resumed_handshakes" : "full_handshakes");
    bool asked = false;
    for (bool goesOn = true; goesOn && connection.ReadRequest(); asked = true) {
        if (fault && !asked) {
            Tell("TLS handshake accepted by the client all the same", fault);
        }
        SetWaiting(socket, false);
        goesOn = ServeRequest(connection);
        SetWaiting(socket, true);
    }
    // A client may look at the certificate after a handshake that seems to go well.
    if (fault && !asked) {
        Tell("the client left without a request", fault);
    }
    connection.End();
}

bool CloudServer::ServeRequest(Connection& connection) {
    std::unique_lock<std::mutex> oneAtATime(m_answering);
    const std::string request = connection.Request();
    m_exchange = Json::objectValue;
    m_exchange["endpoint"] = Json::nullValue;
    m_objection = connection.FoundObjection();
    m_closes = m_objection != nullptr;
    m_fault.reset();
    // One that is not looked at is answered as this one is.
    const std::string answer =
        AnswerOf(m_objection != nullptr ? "GET / HTTP/1.1\r\nConnection: close\r\n\r\n" : request);
    m_state.Count("requests");
    // Before the answer goes out: who has it finds the exchange recorded.
    try {
        m_exchanges.Add(m_exchange, request, answer);
    } catch (const std::exception& error) {
        Complain(error.what());
    }
    Say(ExchangeLine(m_exchange, m_style));
    const auto fault = std::move(m_fault);
    const bool goesOn = !m_closes;
    oneAtATime.unlock();
    const Deliver* deliver = fault ? std::get_if<Deliver>(&fault->kind->deed) : nullptr;
    return (deliver != nullptr ? (*deliver)(connection, answer, *fault) : connection.Send(answer)) && goesOn;
}

std::string CloudServer::AnswerOf(const std::string& request) {
    httplib::detail::BufferStream stream;
    stream.write(request.data(), request.size());
    bool closed = false;
    m_closes = !Process(*this, &CloudServer::process_request, stream, closed) || closed || m_closes;
    return stream.get_buffer().substr(request.size());
}

void CloudServer::Respond(const Endpoint& endpoint, const httplib::Request& request,
                          httplib::Response& response) {
    m_exchange["endpoint"] = endpoint.name;
    Answer answer;
    try {
        const auto planned = PlannedFaults(m_cloud.folder);
        m_closes = std::any_of(planned.begin(), planned.end(),
                               [](const Fault& fault) { return fault.HitsConnection(); });
        m_fault = TakeFault(m_cloud.folder, endpoint.name);
        const auto* makeBody = m_fault ? std::get_if<MakeBody>(&m_fault->kind->deed) : nullptr;
        if (m_fault) {
            m_exchange["fault"] = m_fault->Describe();
        }
        answer = makeBody != nullptr
                     ? Answer{m_fault->plan["status"].asInt(), (*makeBody)(*m_fault), "as planned", ""}
                     : AnswerTo(endpoint, m_cloud, request);
    } catch (const std::exception& error) {
        answer = Refusal(ResultCode::INTERNAL_ERROR, error.what());
    }
    for (const auto& header : m_fault ? m_fault->plan["headers"] : Json::Value()) {
        const std::string line = header.asString();
        const auto colon = line.find(": ");
        response.set_header(line.substr(0, colon), line.substr(colon + 2));
    }
    if (m_closes) {
        response.set_header("Connection", "close");
    }
    Fill(response, answer);
}

void CloudServer::Refuse(httplib::Response& response) {
    if (m_exchange.isMember("decided")) {
        return;
    }
    Answer answer = m_objection != nullptr   ? Refusal(ResultCode::BAD_REQUEST, m_objection->message)
                    : response.status == 404 ? Refusal(ResultCode::NOT_FOUND, "there is nothing here")
                                             : Refusal(ResultCode::BAD_REQUEST, "this is no request");
    answer.status = m_objection != nullptr ? m_objection->status : response.status;
    Fill(response, answer);
}

void CloudServer::Fill(httplib::Response& response, const Answer& answer) {
    m_exchange["decided"] = answer.decided;
    m_exchange["user"] = answer.login;
    response.status = answer.status;
    response.set_content(answer.body, "application/json;charset=UTF-8");
}

}  // namespace LocalCloud
