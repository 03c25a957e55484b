/**
 * The way in for the commands: a second port on 127.0.0.1, which no fault touches, for those who can read the
 * folder's secret.
 */
#pragma once

#include <httplib.h>
#include <json/json.h>

#include <functional>
#include <string>

#include "Cloud/State/Exchanges.h"
#include "Cloud/State/Faults.h"
#include "Cloud/State/Tokens.h"

namespace LocalCloud {

inline constexpr char CONTROL_SECRET_HEADER[] = "Infosync-Cloud-Secret";

/** What the commands see and change. */
struct Controlled {
    FaultPlan& faults;
    const ExchangeLog& exchanges;
    TokenStore& tokens;
    /** What is shown of the server. */
    std::function<Json::Value()> status;
    /** Asks the server to end, and returns at once. */
    std::function<void()> stop;
};

/** Binds the server and gives it its routes; what it controls must outlive it. @return its port @throws
 * std::runtime_error */
int SetUpControl(httplib::Server& server, const std::string& secret, const Controlled& controlled);

}  // namespace LocalCloud
