#include "Cloud/Server/Connection.h"

#include <fcntl.h>
#include <glib.h>
#include <openssl/err.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>
#include <vector>

#include "Cloud/State/Exchanges.h"

namespace LocalCloud {

namespace {

constexpr std::size_t LARGEST_HEAD = 64U << 10U;
constexpr std::ptrdiff_t MOST_LINES = 200;
constexpr std::size_t LARGEST_BODY = 1U << 20U;
constexpr std::chrono::seconds SOCKET_TIMEOUT(10);
constexpr std::chrono::seconds LONGEST_GOODBYE(1);

constexpr Objection BAD_LENGTH = {400, "Bad Request", "the header Content-Length is no one number"};
constexpr Objection TOO_SLOW = {408, "Request Timeout", "the request took longer than 10 seconds"};
constexpr Objection CHUNKED = {411, "Length Required", "no Transfer-Encoding is known here"};
constexpr Objection BODY_TOO_LARGE = {413, "Payload Too Large", "the body is larger than 1 MiB"};
constexpr Objection ENCODED = {415, "Unsupported Media Type", "no Content-Encoding is known here"};
constexpr Objection HEAD_TOO_LARGE = {431, "Request Header Fields Too Large",
                                      "the headers are larger than 64 KiB, or over 200"};
constexpr Objection BUSY = {503, "Service Unavailable", "too much of other requests is held; ask again"};

// Of all connections together, but for what each may have in any case.
constexpr std::size_t MOST_HELD = 4U << 20U;
constexpr std::size_t SMALL = 16U << 10U;
std::atomic<std::size_t> held(0);

using Clock = std::chrono::steady_clock;

bool WaitFor(int socket, short events, Clock::time_point deadline) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    pollfd descriptor = {socket, events, 0};
    return left.count() > 0 && ::poll(&descriptor, 1, static_cast<int>(left.count())) > 0;
}

/** The values of each header of that name, which ends in a colon. */
std::vector<std::string> ValuesOf(const std::string& head, const std::string& name) {
    std::vector<std::string> values;
    for (auto at = head.find(LINE_END); at != std::string::npos; at = head.find(LINE_END, at)) {
        at += sizeof(LINE_END) - 1;
        if (g_ascii_strncasecmp(head.c_str() + at, name.c_str(), name.size()) == 0) {
            std::string value = head.substr(at + name.size(), head.find(LINE_END, at) - at - name.size());
            values.emplace_back(g_strstrip(value.data()));
        }
    }
    return values;
}

}  // namespace

Connection::Connection(SslSession session, socket_t socket) : m_ssl(std::move(session)), m_socket(socket) {
    ::fcntl(socket, F_SETFL, ::fcntl(socket, F_GETFL) | O_NONBLOCK);
}

Connection::~Connection() {
    held -= m_input.size();
}

bool Connection::Repeat(const std::function<int()>& operation, Clock::time_point deadline) {
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
        if (events != 0 && !WaitFor(m_socket, static_cast<short>(events), deadline)) {
            return false;
        }
    }
    return false;
}

bool Connection::Handshake() {
    return Repeat([this] { return SSL_accept(m_ssl.get()); }, Clock::now() + SOCKET_TIMEOUT);
}

bool Connection::Fill(Clock::time_point deadline) {
    std::array<char, 16384> piece = {};
    std::size_t count = 0;
    if (!Repeat([&] { return SSL_read_ex(m_ssl.get(), piece.data(), piece.size(), &count); }, deadline)) {
        m_objection = m_broken ? nullptr : &TOO_SLOW;
        return false;
    }
    m_input.append(piece.data(), count);
    held += count;
    m_objection = held > MOST_HELD && m_input.size() > SMALL ? &BUSY : nullptr;
    return m_objection == nullptr;
}

bool Connection::ReadRequest() {
    held -= m_size;
    m_input.erase(0, m_size);
    m_input.shrink_to_fit();
    m_size = m_read = 0;
    m_objection = nullptr;
    if (m_input.empty() && !Fill(Clock::now() + KEEP_ALIVE)) {
        return m_objection == &BUSY;
    }
    const auto deadline = Clock::now() + SOCKET_TIMEOUT;
    return (ReadHead(deadline) && ReadBody(deadline)) || m_objection != nullptr;
}

bool Connection::ReadHead(Clock::time_point deadline) {
    std::size_t end = 0;
    while ((end = m_input.find(HEADERS_END)) == std::string::npos && m_input.size() <= LARGEST_HEAD) {
        if (!Fill(deadline)) {
            m_size = m_input.size();
            return false;
        }
    }
    m_size = std::min(end, LARGEST_HEAD) + sizeof(HEADERS_END) - 1;
    m_objection = end > LARGEST_HEAD ? &HEAD_TOO_LARGE : Measure();
    return m_objection == nullptr;
}

const Objection* Connection::Measure() {
    const std::string head = Request();
    const auto lengths = ValuesOf(head, "Content-Length:");
    const std::string length = lengths.empty() ? "0" : lengths.front();
    const std::size_t size = std::strtoull(length.c_str(), nullptr, 10);
    m_size += std::min(size, LARGEST_BODY);
    return std::count(head.begin(), head.end(), '\n') > MOST_LINES ? &HEAD_TOO_LARGE
           : !ValuesOf(head, "Transfer-Encoding:").empty()         ? &CHUNKED
           : !ValuesOf(head, "Content-Encoding:").empty()          ? &ENCODED
           : lengths.size() > 1 || length.empty() ||
                   length.find_first_not_of("0123456789") != std::string::npos
               ? &BAD_LENGTH
           : size > LARGEST_BODY ? &BODY_TOO_LARGE
                                 : nullptr;
}

bool Connection::ReadBody(Clock::time_point deadline) {
    constexpr char GO_ON[] = "HTTP/1.1 100 Continue\r\n\r\n";
    // A client that asked whether to go on waits for this.
    bool goesOn = m_input.size() >= m_size || ValuesOf(Request(), "Expect:").empty() || Send(GO_ON);
    while (goesOn && m_input.size() < m_size) {
        goesOn = Fill(deadline);
    }
    return goesOn;
}

bool Connection::Send(std::string_view bytes) {
    // In pieces, so that who takes a long answer slowly gets it.
    constexpr std::size_t PIECE = 65536;
    while (!bytes.empty() && !m_broken) {
        std::size_t count = 0;
        const auto write = [&] {
            return SSL_write_ex(m_ssl.get(), bytes.data(), std::min(PIECE, bytes.size()), &count);
        };
        m_broken = !Repeat(write, Clock::now() + SOCKET_TIMEOUT);
        bytes.remove_prefix(count);
    }
    return !m_broken;
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
    while (m_objection != nullptr && WaitFor(m_socket, POLLIN, deadline) &&
           ::recv(m_socket, unread.data(), unread.size(), 0) > 0) {
    }
}

ssize_t Connection::read(char* data, size_t size) {
    // Only an interim answer is written before the request was taken, and that was sent while it was read.
    m_answer.clear();
    const std::size_t count = m_input.copy(data, std::min(size, m_size - m_read), m_read);
    m_read += count;
    return static_cast<ssize_t>(count);
}

ssize_t Connection::write(const char* data, size_t size) {
    m_answer.append(data, size);
    return static_cast<ssize_t>(size);
}

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

bool Connections::MakeRoom() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto longest = std::min_element(m_waitingSince.begin(), m_waitingSince.end(),
                                          [](const auto& a, const auto& b) { return a.second < b.second; });
    const bool isEnded = m_waitingSince.size() > MOST && longest->second != NOT_WAITING;
    if (isEnded) {
        ::shutdown(longest->first, SHUT_RDWR);
        // It is on its way out: the next one takes another.
        longest->second = NOT_WAITING;
    }
    return isEnded;
}

void Connections::EndAll() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_ends = true;
    for (const auto& [socket, since] : m_waitingSince) {
        ::shutdown(socket, SHUT_RDWR);
    }
}

}  // namespace LocalCloud
