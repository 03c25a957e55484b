/** Exchanges as people read them, from the JSON form that they are kept in. */
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

/** What the server shows: one line for every request. Safe from any thread. */
class Console {
public:
    Console();

    void Show(const Json::Value& exchange);
    /** A connection that never came to a request. */
    void ShowConnection(const std::string& what);
    /** What is wrong with the server itself: on standard error. */
    void Complain(const std::string& what);

private:
    void Say(const std::string& line);

    Cli::Style m_style;
    std::mutex m_mutex;
};

}  // namespace LocalCloud
