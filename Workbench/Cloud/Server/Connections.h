/** The connections that are open, so that all can be ended, and silent ones make way for new ones. */
#pragma once

#include <chrono>
#include <map>
#include <mutex>
#include <optional>

namespace LocalCloud {

/** Safe from any thread. A socket is ended by being shut down; who serves it sees that and closes it. */
class Connections {
public:
    // A client may keep its connections as long as it likes: enough for a fleet of simulated televisions.
    static constexpr std::size_t MOST = 240;

    /**
     * Takes in a new one, which waits for its client.
     * @return whether it is to be served: not after EndAll()
     */
    bool Enter(int socket);
    /** Before the socket is closed. */
    void Leave(int socket);

    /** From now on the server waits for the client's request, or it does not. */
    void SetWaiting(int socket, bool isWaiting);

    /**
     * Ends the one that has kept the server waiting longest, where there are too many.
     * @return for how long it had
     */
    std::optional<std::chrono::milliseconds> MakeRoom();

    /** Ends every connection; no other is served. */
    void EndAll();

private:
    using Clock = std::chrono::steady_clock;

    static constexpr Clock::time_point NOT_WAITING = Clock::time_point::max();

    std::mutex m_mutex;
    bool m_ends = false;
    /** Since when the server has been waiting for the client. */
    std::map<int, Clock::time_point> m_waitingSince;
};

}  // namespace LocalCloud
