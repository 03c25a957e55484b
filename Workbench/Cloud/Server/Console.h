/** What the server shows unless it is to be quiet: one line for every request. Safe from any thread. */
#pragma once

#include <json/json.h>

#include <mutex>
#include <string>

#include "Cli/Style.h"

namespace LocalCloud {

class Console {
public:
    explicit Console(bool quiet);

    void Say(const std::string& line);
    /** In the JSON form that recordings have. */
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
