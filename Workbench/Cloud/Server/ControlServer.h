/**
 * The way in for the commands: a second port on 127.0.0.1, which no fault touches, for those who can read the
 * folder's secret.
 */
#pragma once

#include <httplib.h>
#include <json/json.h>

#include <functional>
#include <string>
#include <thread>

#include "Cloud/Server/FaultPlan.h"
#include "Cloud/Service/Folder.h"

namespace LocalCloud {

inline constexpr char CONTROL_SECRET_HEADER[] = "Infosync-Cloud-Secret";

class ControlServer {
public:
    /** status gives what is shown of the server; stop asks it to end, and returns at once. */
    ControlServer(const Folder& folder, FaultPlan& faults, std::function<Json::Value()> status,
                  std::function<void()> stop);
    ~ControlServer();
    ControlServer(const ControlServer&) = delete;
    ControlServer& operator=(const ControlServer&) = delete;

    /** Begins to serve. @return the port @throws CloudError */
    int Start();

private:
    void SetUpRoutes();

    std::string m_secret;
    FaultPlan& m_faults;
    std::function<Json::Value()> m_status;
    std::function<void()> m_stop;
    httplib::SSLServer m_server;
    std::thread m_thread;
};

}  // namespace LocalCloud
