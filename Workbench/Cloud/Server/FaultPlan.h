/** The faults that are still to come. */
#pragma once

#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "Cloud/Server/Fault.h"

namespace LocalCloud {

/**
 * Each fault counts the requests (or connections) that concern it from when it was planned. When several are
 * due, the one planned first is taken and the others wait. Safe from any thread.
 */
class FaultPlan {
public:
    void Add(const Fault& fault);
    std::vector<Fault> List() const;
    void Clear();

    /** What is due for a request to this endpoint. */
    std::optional<Fault> TakeForRequest(const std::string& endpoint) {
        return Take(false, endpoint);
    }
    /** What is due for a new connection. */
    std::optional<Fault> TakeForConnection() {
        return Take(true, "any");
    }
    /** Whether a fault waits for a new connection, so that old ones should not be kept. */
    bool WaitsForConnection() const;

private:
    std::optional<Fault> Take(bool connection, const std::string& endpoint);

    mutable std::mutex m_mutex;
    std::vector<Fault> m_faults;
};

}  // namespace LocalCloud
