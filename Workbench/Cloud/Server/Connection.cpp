#include "Cloud/Server/Connection.h"

#include <openssl/err.h>
#include <poll.h>

#include <algorithm>
#include <cmath>

namespace LocalCloud {

namespace {

constexpr char HEADERS_END[] = "\r\n\r\n";

// Begins as a TLS record does and goes on as nothing known.
constexpr char GARBAGE[] = "\x16\x03\x01\x00\xff not HTTP \x80\x81\xfe\n\n\x01\x02\x03";

std::size_t HeaderSize(const std::string& answer) {
    const auto end = answer.find(HEADERS_END);
    return end == std::string::npos ? answer.size() : end + sizeof(HEADERS_END) - 1;
}

std::string CutAnswer(const Fault& fault, const std::string& answer) {
    const std::size_t headers = HeaderSize(answer);
    // At least the last byte is kept back: a cut that takes nothing away would be none.
    const std::size_t wanted =
        fault.withinHeaders ? std::min(fault.bytes, headers - 1) : headers + fault.bytes;
    return answer.substr(0, std::min(wanted, answer.size() - 1));
}

}  // namespace

bool Connection::WaitForRequest(std::chrono::milliseconds time) {
    pollfd descriptor = {m_socket, POLLIN, 0};
    const bool comes = SSL_pending(m_ssl) > 0 || ::poll(&descriptor, 1, static_cast<int>(time.count())) > 0;
    char first = 0;
    ERR_clear_error();
    m_broken = comes && SSL_peek(m_ssl, &first, 1) != 1;
    return comes && !m_broken;
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
    ERR_clear_error();
    std::size_t count = 0;
    m_broken = m_broken || SSL_read_ex(m_ssl, data, size, &count) != 1;
    m_request.append(data, count);
    return m_broken ? -1 : static_cast<ssize_t>(count);
}

ssize_t Connection::write(const char* data, size_t size) {
    m_answer.append(data, size);
    return static_cast<ssize_t>(size);
}

bool Connection::SendSlowly(const std::string& answer, double seconds) {
    return std::all_of(answer.begin(), answer.end(),
                       [&](const char& byte) { return Send(&byte, 1) && Pause(seconds); });
}

void Connection::SendWithoutEnd(double seconds) {
    constexpr char START[] =
        "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nConnection: close\r\n\r\n{\"records\":[\"";
    constexpr std::size_t PIECE = 65536;
    const std::string piece(seconds > 0 ? 1 : PIECE, 'a');
    bool goesOn = Send(START, sizeof(START) - 1);
    while (goesOn) {
        goesOn = Pause(seconds) && Send(piece.data(), piece.size());
    }
}

bool Connection::Deliver(const std::string& answer, const std::optional<Fault>& fault) {
    if (!fault || fault->ReplacesAnswer()) {
        return Send(answer.data(), answer.size());
    }
    if (fault->kind == FaultKind::Delay) {
        return Pause(fault->seconds) && Send(answer.data(), answer.size());
    }
    if (fault->kind == FaultKind::Dribble) {
        return SendSlowly(answer, fault->seconds);
    }
    if (fault->kind == FaultKind::Cut) {
        const std::string part = CutAnswer(*fault, answer);
        Send(part.data(), part.size());
    } else if (fault->kind == FaultKind::Endless) {
        SendWithoutEnd(fault->seconds);
    } else if (fault->kind == FaultKind::Garbage) {
        Send(GARBAGE, sizeof(GARBAGE) - 1);
    }
    return false;
}

}  // namespace LocalCloud
