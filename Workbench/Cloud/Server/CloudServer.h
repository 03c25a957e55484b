/** The HTTPS server: connections, requests, and what faults do to them. Listens on 127.0.0.1 only. */
#pragma once

#include <httplib.h>
#include <unistd.h>

#include <chrono>
#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "Cloud/Protocol/Endpoints.h"
#include "Cloud/Server/Connection.h"
#include "Cloud/Server/Fault.h"
#include "Cloud/State/Certificates.h"
#include "Cloud/State/Exchanges.h"
#include "Cloud/State/ServerState.h"

namespace LocalCloud {

class CloudServer : public httplib::Server {
public:
    /** Both must outlive the server. @throws std::runtime_error that says what is wrong in the folder */
    CloudServer(Cloud& cloud, ServerState& state);

    /** @return the port, a free one for 0 @throws std::runtime_error that says what to do when it is taken */
    int Bind(int port);

    /** Ends every connection, and from now on each new one, waiting for none. */
    void EndConnections();

private:
    using Clock = std::chrono::steady_clock;

    bool process_and_close_socket(socket_t socket) override;

    /** Takes in a new connection, and ends the one that has been silent longest where there are too many.
     * @return whether it is to be served */
    bool Enter(int socket);
    /** From now on the server waits for the client's request, or it does not. */
    void SetWaiting(int socket, bool isWaiting);
    void ServeConnection(int socket);
    bool ServeRequest(Connection& connection);
    /** What the library, and behind it Respond(), makes of a request. */
    std::string AnswerOf(const std::string& request);
    void Respond(const Endpoint& endpoint, const httplib::Request& request, httplib::Response& response);
    /** What a request gets that is none of those that are known. */
    void Refuse(httplib::Response& response);
    void Fill(httplib::Response& response, const Answer& answer);

    Cloud& m_cloud;
    ServerState& m_state;
    TlsContext m_tls;
    ExchangeLog m_exchanges;
    Cli::Style m_style{STDOUT_FILENO};

    std::mutex m_connecting;
    bool m_ends = false;
    /** Since when the server has been waiting for the client of each connection that is open. A socket is
     * ended by being shut down; who serves it sees that and closes it. */
    std::map<int, Clock::time_point> m_waitingSince;

    /** One request at a time is looked at, so that what all take together stays small; the rest is about it.
     */
    std::mutex m_answering;
    Json::Value m_exchange;
    const Objection* m_objection = nullptr;
    std::optional<Fault> m_fault;
    /** Whether its connection must not be used again. */
    bool m_closes = false;
};

}  // namespace LocalCloud
