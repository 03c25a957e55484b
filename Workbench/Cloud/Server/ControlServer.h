/**
 * The way in for the commands: a second port on 127.0.0.1, which no fault touches, for those who can read the
 * folder's secret.
 */
#pragma once

#include <httplib.h>
#include <json/json.h>

#include <functional>
#include <optional>

#include "Cloud/Server/ExchangeLog.h"
#include "Cloud/Server/FaultPlan.h"
#include "Cloud/Server/Listening.h"
#include "Cloud/Service/Folder.h"
#include "Cloud/Service/TokenStore.h"

namespace LocalCloud {

inline constexpr char CONTROL_SECRET_HEADER[] = "Infosync-Cloud-Secret";

/** What the commands see and change; all must outlive the server. */
struct Controlled {
    FaultPlan& faults;
    const ExchangeLog& exchanges;
    TokenStore& tokens;
    /** What is shown of the server. */
    std::function<Json::Value()> status;
    /** Asks the server to end, and returns at once. */
    std::function<void()> stop;
};

class ControlServer {
public:
    /** Serves from now on, until it is destroyed. @throws CloudError */
    ControlServer(const Folder& folder, Controlled controlled);

    int Port() const {
        return m_port;
    }

private:
    void SetUpRoutes();

    Controlled m_controlled;
    httplib::SSLServer m_server;
    int m_port;
    std::optional<Listening> m_listening;
};

}  // namespace LocalCloud
