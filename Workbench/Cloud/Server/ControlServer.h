/**
 * The way in for the commands: a second port on 127.0.0.1, which no fault touches, for those who can read the
 * folder's secret.
 */
#pragma once

#include <httplib.h>
#include <json/json.h>

#include <functional>
#include <optional>
#include <string>

#include "Cloud/Server/ExchangeLog.h"
#include "Cloud/Server/FaultPlan.h"
#include "Cloud/Server/Listening.h"
#include "Cloud/Service/Folder.h"
#include "Cloud/Service/TokenStore.h"

namespace LocalCloud {

inline constexpr char CONTROL_SECRET_HEADER[] = "Infosync-Cloud-Secret";

class ControlServer {
public:
    /**
     * Serves from now on, until it is destroyed. status gives what is shown of the server; stop asks it to
     * end, and returns at once. @throws CloudError
     */
    ControlServer(const Folder& folder, FaultPlan& faults, const ExchangeLog& exchanges, TokenStore& tokens,
                  std::function<Json::Value()> status, std::function<void()> stop);

    int Port() const {
        return m_port;
    }

private:
    void SetUpRoutes();
    void SetUpFaultRoutes();

    std::string m_secret;
    FaultPlan& m_faults;
    const ExchangeLog& m_exchanges;
    TokenStore& m_tokens;
    std::function<Json::Value()> m_status;
    std::function<void()> m_stop;
    httplib::SSLServer m_server;
    int m_port;
    std::optional<Listening> m_listening;
};

}  // namespace LocalCloud
