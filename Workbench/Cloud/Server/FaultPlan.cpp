#include "Cloud/Server/FaultPlan.h"

#include <algorithm>

namespace LocalCloud {

void FaultPlan::Add(const Fault& fault) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_faults.push_back(fault);
}

std::vector<Fault> FaultPlan::List() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_faults;
}

void FaultPlan::Clear() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_faults.clear();
}

bool FaultPlan::WaitsForConnection() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return std::any_of(m_faults.begin(), m_faults.end(),
                       [](const Fault& fault) { return fault.SpoilsConnection(); });
}

std::optional<Fault> FaultPlan::Take(bool connection, const std::string& endpoint) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    auto due = m_faults.end();
    for (auto fault = m_faults.begin(); fault != m_faults.end(); ++fault) {
        if (fault->SpoilsConnection() != connection || (fault->on != "any" && fault->on != endpoint)) {
            continue;
        }
        if (fault->skip > 0) {
            --fault->skip;
        } else if (due == m_faults.end()) {
            due = fault;
        }
    }
    if (due == m_faults.end()) {
        return std::nullopt;
    }
    Fault taken = *due;
    if (due->times == 1) {
        m_faults.erase(due);
    } else if (due->times > 1) {
        --due->times;
    }
    return taken;
}

}  // namespace LocalCloud
