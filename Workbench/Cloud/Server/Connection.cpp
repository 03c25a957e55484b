#include "Cloud/Server/Connection.h"

#include <openssl/err.h>
#include <poll.h>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace LocalCloud {

bool Connection::WaitForRequest(std::chrono::milliseconds time) {
    pollfd descriptor = {m_socket, POLLIN, 0};
    const bool waits = m_begin == m_end && SSL_pending(m_ssl) == 0;
    return m_begin < m_end ||
           ((!waits || ::poll(&descriptor, 1, static_cast<int>(time.count())) > 0) && Fill());
}

bool Connection::Pause(double seconds) const {
    // What nobody asks for is told all the same: that the connection was shut down.
    pollfd descriptor = {m_socket, 0, 0};
    const double milliseconds = std::ceil(seconds * 1000);
    return ::poll(&descriptor, 1, static_cast<int>(milliseconds)) == 0;
}

bool Connection::Send(const char* data, std::size_t size) {
    ERR_clear_error();
    std::size_t written = 0;
    m_broken = m_broken || (size > 0 && SSL_write_ex(m_ssl, data, size, &written) != 1);
    return !m_broken;
}

ssize_t Connection::read(char* data, size_t size) {
    // Written before the request was complete: an interim answer, 100 Continue, that the peer waits for.
    if (!m_answer.empty() && !Send(m_answer.data(), m_answer.size())) {
        return -1;
    }
    m_answer.clear();
    if (m_begin == m_end && !Fill()) {
        return -1;
    }
    const std::size_t count = std::min(size, m_end - m_begin);
    std::memcpy(data, m_buffer.data() + m_begin, count);
    m_begin += count;
    m_request.append(data, count);
    return static_cast<ssize_t>(count);
}

ssize_t Connection::write(const char* data, size_t size) {
    m_answer.append(data, size);
    return static_cast<ssize_t>(size);
}

bool Connection::Fill() {
    ERR_clear_error();
    const int count = m_broken ? 0 : SSL_read(m_ssl, m_buffer.data(), static_cast<int>(m_buffer.size()));
    m_begin = 0;
    m_end = count > 0 ? static_cast<std::size_t>(count) : 0;
    m_broken = count <= 0;
    return !m_broken;
}

}  // namespace LocalCloud
