#include "Cloud/Server/Connection.h"

#include <fcntl.h>
#include <openssl/err.h>
#include <poll.h>

#include <algorithm>
#include <array>
#include <atomic>

namespace LocalCloud {

namespace {

constexpr char HEADERS_END[] = "\r\n\r\n";
constexpr std::size_t HEADERS_END_SIZE = sizeof(HEADERS_END) - 1;
constexpr std::size_t LARGEST_HEAD = 64U << 10U;
constexpr std::chrono::seconds SOCKET_TIMEOUT(10);
constexpr std::chrono::seconds LONGEST_GOODBYE(1);

constexpr ReadRefusal TOO_SLOW = {408, "Request Timeout", "the request took longer than 10 seconds"};
constexpr ReadRefusal HEAD_TOO_LARGE = {431, "Request Header Fields Too Large",
                                        "the headers are larger than 64 KiB"};
constexpr ReadRefusal BUSY = {503, "Service Unavailable", "too much of other requests is held; ask again"};

// Of all connections together; what the HTTP library copies of it comes on top.
constexpr std::size_t MOST_HELD = 8U << 20U;
std::atomic<std::size_t> held(0);

using Clock = std::chrono::steady_clock;

bool WaitFor(int socket, short events, Clock::time_point deadline) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    pollfd descriptor = {socket, events, 0};
    return left.count() > 0 && ::poll(&descriptor, 1, static_cast<int>(left.count())) > 0;
}

}  // namespace

Connection::Connection(SslSession session, socket_t socket) : m_ssl(std::move(session)), m_socket(socket) {
    ::fcntl(socket, F_SETFL, ::fcntl(socket, F_GETFL) | O_NONBLOCK);
}

Connection::~Connection() {
    Forget();
}

bool Connection::Repeat(const std::function<int()>& operation,
                        const std::function<Clock::time_point()>& deadline) {
    while (!m_broken) {
        ERR_clear_error();
        const int result = operation();
        if (result == 1) {
            return true;
        }
        const int wanted = SSL_get_error(m_ssl.get(), result);
        const int events = wanted == SSL_ERROR_WANT_READ    ? POLLIN
                           : wanted == SSL_ERROR_WANT_WRITE ? POLLOUT
                                                            : 0;
        m_broken = events == 0;
        if (events != 0 && !WaitFor(m_socket, static_cast<short>(events), deadline())) {
            return false;
        }
    }
    return false;
}

bool Connection::Handshake() {
    const auto deadline = Clock::now() + SOCKET_TIMEOUT;
    return Repeat([this] { return SSL_accept(m_ssl.get()); }, [deadline] { return deadline; });
}

bool Connection::WaitForRequest() {
    Forget();
    if (SSL_pending(m_ssl.get()) == 0 && !WaitFor(m_socket, POLLIN, Clock::now() + KEEP_ALIVE)) {
        return false;
    }
    m_deadline = Clock::now() + SOCKET_TIMEOUT;
    char first = 0;
    return Repeat([&] { return SSL_peek(m_ssl.get(), &first, 1); }, [this] { return m_deadline; });
}

bool Connection::Send(const char* data, std::size_t size) {
    std::size_t written = 0;
    const bool sent = size == 0 || Repeat([&] { return SSL_write_ex(m_ssl.get(), data, size, &written); },
                                          [] { return Clock::now() + SOCKET_TIMEOUT; });
    m_broken = m_broken || !sent;
    return sent;
}

bool Connection::Pause(std::chrono::milliseconds time) const {
    // What nobody asks for is told all the same: that the connection was shut down.
    pollfd descriptor = {m_socket, 0, 0};
    return ::poll(&descriptor, 1, static_cast<int>(time.count())) == 0;
}

void Connection::End() {
    if (m_broken) {
        return;
    }
    SSL_shutdown(m_ssl.get());
    ::shutdown(m_socket, SHUT_WR);
    const auto deadline = Clock::now() + LONGEST_GOODBYE;
    std::array<char, 4096> unread = {};
    while (m_refusal != nullptr && WaitFor(m_socket, POLLIN, deadline) &&
           ::recv(m_socket, unread.data(), unread.size(), 0) > 0) {
    }
}

ssize_t Connection::read(char* data, size_t size) {
    // Written before the request was complete: an interim answer, 100 Continue, that the peer waits for.
    if (m_refusal != nullptr || !Send(m_answer)) {
        return -1;
    }
    m_answer.clear();
    // The library might read beyond the headers, where another limit holds.
    const std::size_t wanted = m_headSize == 0 ? std::min<std::size_t>(size, 1) : size;
    std::size_t count = 0;
    if (!Repeat([&] { return SSL_read_ex(m_ssl.get(), data, wanted, &count); },
                [this] { return m_deadline; })) {
        m_refusal = m_broken ? nullptr : &TOO_SLOW;
        return -1;
    }
    Keep(data, count);
    return m_refusal != nullptr ? -1 : static_cast<ssize_t>(count);
}

void Connection::Keep(const char* data, std::size_t size) {
    m_request.append(data, size);
    held += size;
    const std::size_t end = m_request.size();
    if (m_headSize == 0 && end >= HEADERS_END_SIZE &&
        m_request.compare(end - HEADERS_END_SIZE, HEADERS_END_SIZE, HEADERS_END) == 0) {
        m_headSize = end;
    }
    const bool isTooLarge = m_headSize == 0 ? end > LARGEST_HEAD : end - m_headSize > LARGEST_BODY;
    m_refusal = isTooLarge         ? (m_headSize == 0 ? &HEAD_TOO_LARGE : &BODY_TOO_LARGE)
                : held > MOST_HELD ? &BUSY
                                   : nullptr;
}

void Connection::Forget() {
    held -= m_request.size();
    std::string().swap(m_request);
    m_headSize = 0;
    m_refusal = nullptr;
}

ssize_t Connection::write(const char* data, size_t size) {
    m_answer.append(data, size);
    return static_cast<ssize_t>(size);
}

}  // namespace LocalCloud
