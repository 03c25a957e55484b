#include "Cloud/Server/Connections.h"

#include <sys/socket.h>

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
    m_waitingSince[socket] = isWaiting ? std::optional(Clock::now()) : std::nullopt;
}

std::optional<std::chrono::milliseconds> Connections::MakeRoom() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    auto longest = m_waitingSince.end();
    for (auto each = m_waitingSince.begin(); each != m_waitingSince.end(); ++each) {
        if (each->second && (longest == m_waitingSince.end() || *each->second < *longest->second)) {
            longest = each;
        }
    }
    if (m_waitingSince.size() <= MOST || longest == m_waitingSince.end()) {
        return std::nullopt;
    }
    ::shutdown(longest->first, SHUT_RDWR);
    const auto waited = Clock::now() - *longest->second;
    longest->second.reset();  // it is on its way out: the next one takes another
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
