/** The HTTPS server: connections, requests, and what faults do to them. Listens on 127.0.0.1 only. */
#pragma once

#include <httplib.h>
#include <unistd.h>

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
    void EndConnections() {
        m_connections.EndAll();
    }

private:
    bool process_and_close_socket(socket_t socket) override;

    /** Shows a line on standard output, where there is one for every request. */
    void Say(const std::string& line);
    /** What became of a connection that never came to a request. */
    void ShowConnection(const std::string& what);

    void ServeConnection(socket_t socket);
    /** @return whether it succeeded */
    bool Handshake(Connection& connection, const SSL* session, const std::optional<Fault>& fault);
    bool ServeRequest(Connection& connection);
    /** The answer's bytes, of which none is sent yet. */
    std::string Answered(Connection& connection);
    void Respond(const Endpoint& endpoint, const httplib::Request& request, httplib::Response& response);
    /** What the fault that is due says, or else the cloud. */
    Answer Decide(const Endpoint& endpoint, const httplib::Request& request);

    Cloud& m_cloud;
    ServerState& m_state;
    TlsContexts m_tls;
    FaultPlan m_faults;
    ExchangeLog m_exchanges;
    Cli::Style m_style{STDOUT_FILENO};
    std::mutex m_saying;
    Connections m_connections;

    /** One request at a time is looked at, so that what all take together stays small; the rest is about it.
     */
    std::mutex m_answering;
    Json::Value m_exchange;
    std::optional<Fault> m_fault;
    /** Whether its connection must not be used again. */
    bool m_closes = false;
};

}  // namespace LocalCloud
