/** Exchanges as people read them, in the JSON form that recordings have. */
#pragma once

#include <json/json.h>

#include <mutex>
#include <string>

#include "Cli/Style.h"

namespace LocalCloud {

/** When, what, the status, what was decided and for whom, in one line without its end. */
std::string ExchangeLine(const Json::Value& exchange, const Cli::Style& style);

/** The request's and the answer's headers and bodies. */
std::string ExchangeInFull(const Json::Value& exchange);

/** What the server shows unless it is to be quiet: one line for every request. Safe from any thread. */
class Console {
public:
    explicit Console(bool quiet);

    void Say(const std::string& line);
    void Show(const Json::Value& exchange);
    /** A connection that never came to a request. */
    void ShowConnection(const std::string& what);
    /** What is wrong with the server itself: on standard error, also from a quiet server. */
    void Complain(const std::string& what);

private:
    bool m_quiet;
    Cli::Style m_style;
    std::mutex m_mutex;
};

}  // namespace LocalCloud
