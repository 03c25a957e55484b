/** The HTTPS server: connections, requests, and what faults do to them. */
#pragma once

#include <httplib.h>

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>

#include "Cloud/Server/Connection.h"
#include "Cloud/Server/Console.h"
#include "Cloud/State/Exchanges.h"
#include "Cloud/State/Faults.h"
#include "Cloud/Protocol/Answer.h"
#include "Cloud/State/Certificates.h"

namespace LocalCloud {

/** Listens on 127.0.0.1 only. */
class CloudServer : public httplib::Server {
public:
    using Handler = std::function<Answer(const httplib::Request&)>;
    /** How often what happened since the server began, by name. */
    using Counts = std::map<std::string, std::int64_t>;

    /** All must outlive the server. */
    CloudServer(const TlsContexts& tls, FaultPlan& faults, Console& console, ExchangeLog& exchanges);

    void Route(const Endpoint& endpoint, const Handler& handler);

    /** @return the port, a free one for 0 @throws std::runtime_error that says what to do when it is taken */
    int Bind(int port);

    /** Ends every connection, and from now on each new one, waiting for none. */
    void EndConnections();

    Counts Counted();

private:
    bool process_and_close_socket(socket_t socket) override;

    void ServeConnection(socket_t socket);
    SslSession Handshake(socket_t socket, const std::optional<Fault>& fault);
    bool ServeRequest(Connection& connection);
    void Respond(const Endpoint& endpoint, const Handler& handler, const httplib::Request& request,
                 httplib::Response& response);
    void SetUpErrorAnswers();
    void Count(const char* what);

    const TlsContexts& m_tls;
    FaultPlan& m_faults;
    Console& m_console;
    ExchangeLog& m_exchanges;
    std::mutex m_mutex;
    bool m_ends = false;
    std::set<socket_t> m_sockets;
    Counts m_counts = {{"requests", 0},
                       {"connections", 0},
                       {"full_handshakes", 0},
                       {"resumed_handshakes", 0},
                       {"failed_handshakes", 0}};
};

}  // namespace LocalCloud
