/** The faults that are still to come, in state/faults.json, which is there as long as any are. */
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Cloud/Server/Fault.h"
#include "Cloud/State/Folder.h"

namespace LocalCloud {

/**
 * Each fault counts the requests (or connections) that concern it from when it was planned. When several are
 * due, the one planned first is taken and the others wait. Safe from any thread and process; every operation
 * throws std::runtime_error that names the file where it cannot be read or written, and nothing is changed
 * then.
 */
class FaultPlan {
public:
    explicit FaultPlan(const Folder& folder) : m_folder(folder), m_path(folder.StateFile("faults.json")) {}

    void Add(const Fault& fault);
    std::vector<Fault> List() const;
    /** @return how many there were */
    std::size_t Clear();

    /** What is due for a request of this name; for the empty one, for a new connection. */
    std::optional<Fault> Take(const std::string& request);
    /** Whether a fault waits for a new connection, so that old ones should not be kept. */
    bool WaitsForConnection() const;

private:
    void Store(const std::vector<Fault>& faults) const;

    Folder m_folder;
    std::string m_path;
};

}  // namespace LocalCloud
