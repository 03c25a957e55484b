#include "Cloud/Server/Connection.h"

#include <openssl/err.h>
#include <poll.h>

#include <algorithm>
#include <charconv>
#include <cstring>

namespace LocalCloud {

namespace {

constexpr char STATUS_LINE_START[] = "HTTP/1.1 ";
constexpr std::size_t STATUS_LINE_BYTES = 16;
constexpr std::size_t LARGEST_PIECE = 1U << 30U;  // what OpenSSL takes is an int

}  // namespace

bool Connection::WaitForInput(std::chrono::milliseconds time) {
    if (m_begin < m_end || SSL_pending(m_ssl) > 0) {
        return true;
    }
    pollfd descriptor = {m_socket, POLLIN, 0};
    return ::poll(&descriptor, 1, static_cast<int>(time.count())) > 0;
}

void Connection::BeginExchange(Keep keep) {
    m_keep = keep;
    m_holds = false;
    m_request.clear();
    m_answer.clear();
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

int Connection::Status() const {
    constexpr std::size_t START = sizeof(STATUS_LINE_START) - 1;
    int status = 0;
    if (m_answer.compare(0, START, STATUS_LINE_START) == 0) {
        std::from_chars(m_answer.data() + START, m_answer.data() + m_answer.size(), status);
    }
    return status;
}

bool Connection::is_readable() const {
    return !m_broken;
}

bool Connection::is_writable() const {
    return !m_broken;
}

ssize_t Connection::read(char* data, size_t size) {
    if (m_begin == m_end && !Fill()) {
        return -1;
    }
    const std::size_t count = std::min(size, m_end - m_begin);
    std::memcpy(data, m_buffer.data() + m_begin, count);
    m_begin += count;
    if (m_keep == Keep::Everything) {
        m_request.append(data, count);
    }
    return static_cast<ssize_t>(count);
}

ssize_t Connection::write(const char* data, size_t size) {
    if (m_keep == Keep::Everything || m_holds) {
        m_answer.append(data, size);
    } else if (m_answer.size() < STATUS_LINE_BYTES) {
        m_answer.append(data, std::min(size, STATUS_LINE_BYTES));
    }
    return m_holds || Send(data, size) ? static_cast<ssize_t>(size) : -1;
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
