/** What the server shows: one line for every request. Safe from any thread. */
#pragma once

#include <mutex>
#include <string>

#include "Cloud/Server/Exchange.h"

namespace LocalCloud {

class Console {
public:
    explicit Console(bool quiet);

    /** Always shown. */
    void Say(const std::string& line);
    /** Shown unless the server is to be quiet, apart from what went wrong in the server itself. */
    void Show(const Exchange& exchange);
    /** A connection that never came to a request. Shown unless the server is to be quiet. */
    void ShowConnection(const std::string& what);

private:
    void Print(const std::string& line);

    bool m_quiet;
    bool m_colours;
    std::mutex m_mutex;
};

}  // namespace LocalCloud
