/** The HTTPS server: connections, requests, and what faults do to them. Listens on 127.0.0.1 only. */
#pragma once

#include <httplib.h>

#include <chrono>
#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "Cloud/Protocol/Endpoints.h"
#include "Cloud/Server/Connection.h"
#include "Cloud/Server/Console.h"
#include "Cloud/Server/FaultPlan.h"
#include "Cloud/State/Certificates.h"
#include "Cloud/State/Exchanges.h"
#include "Cloud/State/ServerState.h"

namespace LocalCloud {

/**
 * The connections that are open, so that all can be ended, and silent ones make way for new ones. Safe from
 * any thread. A socket is ended by being shut down; who serves it sees that and closes it.
 */
class Connections {
public:
    // A client may keep its connections as long as it likes: enough for a fleet of simulated televisions.
    static constexpr std::size_t MOST = 240;

    /**
     * Takes in a new one, which waits for its client.
     * @return whether it is to be served: not after EndAll()
     */
    bool Enter(int socket);
    /** Before the socket is closed. */
    void Leave(int socket);

    /** From now on the server waits for the client's request, or it does not. */
    void SetWaiting(int socket, bool isWaiting);

    /**
     * Ends the one that has kept the server waiting longest, where there are too many.
     * @return for how long it had
     */
    std::optional<std::chrono::milliseconds> MakeRoom();

    /** Ends every connection; no other is served. */
    void EndAll();

private:
    using Clock = std::chrono::steady_clock;

    static constexpr Clock::time_point NOT_WAITING = Clock::time_point::max();

    std::mutex m_mutex;
    bool m_ends = false;
    /** Since when the server has been waiting for the client. */
    std::map<int, Clock::time_point> m_waitingSince;
};

class CloudServer : public httplib::Server {
public:
    /** Both must outlive the server. @throws std::runtime_error that says what is wrong in the folder */
    CloudServer(Cloud& cloud, ServerState& state);

    /** @return the port, a free one for 0 @throws std::runtime_error that says what to do when it is taken */
    int Bind(int port);

    /** Ends every connection, and from now on each new one, waiting for none. */
    void EndConnections() {
        m_connections.EndAll();
    }

private:
    bool process_and_close_socket(socket_t socket) override;

    void ServeConnection(socket_t socket);
    /** @return whether it succeeded */
    bool Handshake(Connection& connection, const SSL* session, const std::optional<Fault>& fault);
    bool ServeRequest(Connection& connection);
    void Respond(const Endpoint& endpoint, const httplib::Request& request, httplib::Response& response);
    /** What the fault that is due says, or else the cloud. */
    Answer AnswerTo(const Endpoint& endpoint, const httplib::Request& request);

    Cloud& m_cloud;
    ServerState& m_state;
    TlsContexts m_tls;
    FaultPlan m_faults;
    ExchangeLog m_exchanges;
    Console m_console;
    Connections m_connections;

    /** One request at a time is looked at, so that what all take together stays small; the rest is about it.
     */
    std::mutex m_answering;
    Exchange m_exchange;
    std::optional<Fault> m_fault;
    /** Whether its connection must not be used again. */
    bool m_closes = false;
};

}  // namespace LocalCloud
