/** Tells everything that waits that the server ends. */
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace LocalCloud {

class StopSignal {
public:
    void Raise() {
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_raised = true;
        }
        m_condition.notify_all();
    }

    /** Waits unless the server ends. @return whether it does */
    bool Wait(std::chrono::duration<double> time) {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_condition.wait_for(lock, time, [this] { return m_raised; });
    }

    bool IsRaised() const {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_raised;
    }

private:
    mutable std::mutex m_mutex;
    std::condition_variable m_condition;
    bool m_raised = false;
};

}  // namespace LocalCloud
