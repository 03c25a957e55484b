#include "Cloud/Server/Connections.h"

#include <sys/socket.h>

#include <algorithm>
#include <utility>

namespace LocalCloud {

bool Connections::Enter(int socket) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_ends) {
        m_waitingSince[socket] = Clock::now();
    }
    return !m_ends;
}

void Connections::Leave(int socket) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_waitingSince.erase(socket);
}

void Connections::SetWaiting(int socket, bool isWaiting) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_waitingSince[socket] = isWaiting ? Clock::now() : NOT_WAITING;
}

std::optional<std::chrono::milliseconds> Connections::MakeRoom() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto longest = std::min_element(m_waitingSince.begin(), m_waitingSince.end(),
                                          [](const auto& a, const auto& b) { return a.second < b.second; });
    if (m_waitingSince.size() <= MOST || longest->second == NOT_WAITING) {
        return std::nullopt;
    }
    ::shutdown(longest->first, SHUT_RDWR);
    // It is on its way out: the next one takes another.
    const auto waited = Clock::now() - std::exchange(longest->second, NOT_WAITING);
    return std::chrono::duration_cast<std::chrono::milliseconds>(waited);
}

void Connections::EndAll() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_ends = true;
    for (const auto& [socket, since] : m_waitingSince) {
        ::shutdown(socket, SHUT_RDWR);
    }
}

}  // namespace LocalCloud
