#include "Cloud/Server/Connection.h"

#include <openssl/err.h>
#include <poll.h>

#include <algorithm>
#include <cstring>

namespace LocalCloud {

namespace {

constexpr std::size_t LARGEST_PIECE = 1U << 30U;  // what OpenSSL takes is an int

}  // namespace

bool Connection::WaitForRequest(std::chrono::milliseconds time) {
    pollfd descriptor = {m_socket, POLLIN, 0};
    const bool waits = m_begin == m_end && SSL_pending(m_ssl) == 0;
    return m_begin < m_end ||
           ((!waits || ::poll(&descriptor, 1, static_cast<int>(time.count())) > 0) && Fill());
}

bool Connection::Send(const char* data, std::size_t size) {
    while (size > 0 && !m_broken) {
        ERR_clear_error();
        const int written = SSL_write(m_ssl, data, static_cast<int>(std::min(size, LARGEST_PIECE)));
        if (written <= 0) {
            m_broken = true;
        } else {
            data += written;
            size -= static_cast<std::size_t>(written);
        }
    }
    return !m_broken;
}

bool Connection::is_readable() const {
    return !m_broken;
}

bool Connection::is_writable() const {
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

void Connection::get_remote_ip_and_port(std::string& /*ip*/, int& /*port*/) const {}

void Connection::get_local_ip_and_port(std::string& /*ip*/, int& /*port*/) const {}

socket_t Connection::socket() const {
    return m_socket;
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
