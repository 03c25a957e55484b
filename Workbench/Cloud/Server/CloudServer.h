/** The HTTPS server: connections, requests, and what faults do to them. */
#pragma once

#include <httplib.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>

#include "Cloud/Server/Connection.h"
#include "Cloud/Server/Console.h"
#include "Cloud/Server/Endpoint.h"
#include "Cloud/Server/ExchangeLog.h"
#include "Cloud/Server/FaultPlan.h"
#include "Cloud/Server/StopSignal.h"
#include "Cloud/Server/TlsContexts.h"
#include "Cloud/Service/Answer.h"

namespace LocalCloud {

/** Counted since the server began. */
struct Statistics {
    std::atomic<std::int64_t> connections{0};
    std::atomic<std::int64_t> fullHandshakes{0};
    std::atomic<std::int64_t> resumedHandshakes{0};
    std::atomic<std::int64_t> failedHandshakes{0};
    std::atomic<std::int64_t> requests{0};
};

/** Listens on 127.0.0.1 only. */
class CloudServer : public httplib::Server {
public:
    using Handler = std::function<Answer(const httplib::Request&)>;

    /** All must outlive the server. */
    CloudServer(const TlsContexts& tls, FaultPlan& faults, Console& console, ExchangeLog& exchanges);

    void Route(const Endpoint& endpoint, const Handler& handler);

    /** @return the port, a free one for 0 @throws CloudError that says what to do when it is taken */
    int Bind(int port);

    /** Ends every connection, and from now on each new one, waiting for none. */
    void EndConnections();

    const Statistics& Counted() const {
        return m_statistics;
    }

private:
    bool process_and_close_socket(socket_t socket) override;

    void ServeConnection(socket_t socket);
    SslSession Handshake(socket_t socket, const std::optional<Fault>& fault);
    bool ServeRequest(Connection& connection);
    void Respond(const Endpoint& endpoint, const Handler& handler, const httplib::Request& request,
                 httplib::Response& response);
    void SetUpErrorAnswers();

    const TlsContexts& m_tls;
    FaultPlan& m_faults;
    Console& m_console;
    ExchangeLog& m_exchanges;
    Statistics m_statistics;
    StopSignal m_stop;
    std::mutex m_socketsMutex;
    std::set<socket_t> m_sockets;
};

}  // namespace LocalCloud
