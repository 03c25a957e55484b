#include "Cloud/Server/Connection.h"

#include <fcntl.h>
#include <openssl/err.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>
#include <stdexcept>
#include <utility>

#include "Cli/Pattern.h"
#include "Cloud/State/Exchanges.h"

namespace LocalCloud {

namespace {

constexpr std::size_t LARGEST_HEAD = 64U << 10U;
constexpr std::size_t LARGEST_BODY = 1U << 20U;
constexpr std::chrono::seconds LONGEST_GOODBYE(1);

constexpr Objection TOO_SLOW = {408, "the request took longer than 10 seconds"};
constexpr Objection BODY_TOO_LARGE = {413, "the body is larger than 1 MiB"};
constexpr Objection HEAD_TOO_LARGE = {431, "the headers are larger than 64 KiB, or over 200"};
constexpr Objection BUSY = {503, "too much of other requests is held; ask again"};

/** What is wrong with a head where this is found. */
const std::pair<Cli::Pattern, Objection> WRONG[] = {
    {Cli::Pattern(R"(\A(?:[^\n]*+\n){201})"), HEAD_TOO_LARGE},
    {Cli::Pattern("(?im)^Transfer-Encoding:"), {411, "no Transfer-Encoding is known here"}},
    {Cli::Pattern("(?im)^Content-Encoding:"), {415, "no Content-Encoding is known here"}},
    {Cli::Pattern("(?im)^Expect:"), {417, "nothing can be expected here"}},
    {Cli::Pattern(R"((?im)^Content-Length:(?![ \t]*\d+[ \t]*\r$)|(?ims)^Content-Length:.*^Content-Length:)"),
     {400, "the header Content-Length is no one number"}},
};
const Cli::Pattern LENGTH(R"((?im)^Content-Length:[ \t]*(?<v>\d+))");

// Of all connections together, but for what each may have in any case.
constexpr std::size_t MOST_HELD = 4U << 20U;
constexpr std::size_t SMALL = 16U << 10U;
std::atomic<std::size_t> held(0);

}  // namespace

Connection::Connection(SSL_CTX* tls, int socket) : m_ssl(SSL_new(tls)), m_socket(socket) {
    if (!m_ssl || SSL_set_fd(m_ssl.get(), socket) != 1) {
        throw std::runtime_error("could not set up a TLS session");
    }
    ::fcntl(socket, F_SETFL, ::fcntl(socket, F_GETFL) | O_NONBLOCK);
}

Connection::~Connection() {
    held -= m_input.size();
}

bool Connection::WaitFor(short events) const {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(m_deadline - Clock::now());
    pollfd descriptor = {m_socket, events, 0};
    return left.count() > 0 && ::poll(&descriptor, 1, static_cast<int>(left.count())) > 0;
}

bool Connection::Repeat(const std::function<int()>& operation) {
    bool waits = true;
    while (waits && !m_broken) {
        ERR_clear_error();
        const int result = operation();
        if (result == 1) {
            return true;
        }
        const int wanted = SSL_get_error(m_ssl.get(), result);
        m_broken = wanted != SSL_ERROR_WANT_READ && wanted != SSL_ERROR_WANT_WRITE;
        waits = !m_broken && WaitFor(wanted == SSL_ERROR_WANT_READ ? POLLIN : POLLOUT);
    }
    return false;
}

bool Connection::Handshake() {
    m_deadline = Clock::now() + TIMEOUT;
    return Repeat([this] { return SSL_accept(m_ssl.get()); });
}

bool Connection::Fill() {
    std::array<char, 16384> piece = {};
    std::size_t count = 0;
    const bool filled = Repeat([&] { return SSL_read_ex(m_ssl.get(), piece.data(), piece.size(), &count); });
    m_input.append(piece.data(), count);
    held += count;
    const bool isTooMuch = held > MOST_HELD && m_input.size() > SMALL;
    m_objection = m_broken ? nullptr : !filled ? &TOO_SLOW : isTooMuch ? &BUSY : nullptr;
    return filled && !isTooMuch;
}

bool Connection::ReadRequest() {
    held -= m_size;
    m_input.erase(0, m_size);
    m_input.shrink_to_fit();
    m_size = 0;
    m_objection = nullptr;
    m_deadline = Clock::now() + TIMEOUT;
    bool goesOn = !m_input.empty() || Fill();
    if (goesOn) {
        m_deadline = Clock::now() + TIMEOUT;
        while (goesOn && !IsWhole()) {
            goesOn = Fill();
        }
        goesOn = goesOn || m_objection != nullptr;
    }
    return goesOn;
}

bool Connection::IsWhole() {
    const std::size_t end = m_input.find(HEADERS_END);
    const bool hasHead = end != std::string::npos;
    m_size = hasHead ? end + sizeof(HEADERS_END) - 1 : m_input.size();
    m_objection = m_size > LARGEST_HEAD ? &HEAD_TOO_LARGE : hasHead ? Measure() : nullptr;
    return m_objection != nullptr || (hasHead && m_input.size() >= m_size);
}

const Objection* Connection::Measure() {
    const std::string head = Request();
    for (const auto& [pattern, objection] : WRONG) {
        if (pattern.Find(head)) {
            return &objection;
        }
    }
    const std::string length(LENGTH.Find(head)["v"]);
    const std::size_t size = std::strtoul(length.c_str(), nullptr, 10);
    m_size += std::min(size, LARGEST_BODY);
    return size > LARGEST_BODY ? &BODY_TOO_LARGE : nullptr;
}

bool Connection::Send(std::string_view bytes) {
    // In pieces, so that who takes a long answer slowly gets it.
    constexpr std::size_t PIECE = 65536;
    while (!bytes.empty() && !m_broken) {
        std::size_t count = 0;
        m_deadline = Clock::now() + TIMEOUT;
        m_broken = !Repeat(
            [&] { return SSL_write_ex(m_ssl.get(), bytes.data(), std::min(PIECE, bytes.size()), &count); });
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
    m_deadline = Clock::now() + LONGEST_GOODBYE;
    std::array<char, 4096> unread = {};
    while (m_objection != nullptr && WaitFor(POLLIN) &&
           ::recv(m_socket, unread.data(), unread.size(), 0) > 0) {
    }
}

}  // namespace LocalCloud
