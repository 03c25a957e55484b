#include "Cloud/Server/ConnectionThreads.h"

#include <thread>

namespace LocalCloud {

ConnectionThreads::Enqueued ConnectionThreads::enqueue(std::function<void()> serve) {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_ended.wait(lock, [this] { return m_running < MOST; });
    ++m_running;
    std::thread([this, serve = std::move(serve)] {
        serve();
        const std::lock_guard<std::mutex> ending(m_mutex);
        --m_running;
        m_ended.notify_all();
    }).detach();
    return Enqueued(true);
}

void ConnectionThreads::shutdown() {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_ended.wait(lock, [this] { return m_running == 0; });
}

}  // namespace LocalCloud
