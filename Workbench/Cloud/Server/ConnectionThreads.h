/** Serves each connection on a thread of its own. */
#pragma once

#include <httplib.h>

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <utility>

namespace LocalCloud {

/**
 * A client may keep its connections as long as it likes, so that threads shared by all would run out while
 * some hundred televisions are at it.
 */
class ConnectionThreads : public httplib::TaskQueue {
public:
    /** Nothing, or in later versions of the library whether it was done. */
    using Enqueued = decltype(std::declval<httplib::TaskQueue&>().enqueue({}));

    /** Waits while there are too many connections for this machine. */
    Enqueued enqueue(std::function<void()> serve) override;

    /** Waits until the last connection is served. */
    void shutdown() override;

private:
    static constexpr std::size_t MOST = 1000;

    std::mutex m_mutex;
    std::condition_variable m_ended;
    std::size_t m_running = 0;
};

}  // namespace LocalCloud
