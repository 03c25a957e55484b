/** One TLS connection, of which each request is read whole, within bounds. */
#pragma once

#include <openssl/ssl.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "Cloud/State/Certificates.h"

namespace LocalCloud {

/** Why a request is not looked at; the connection ends with that answer. */
struct Objection {
    int status;
    const char* message;
};

/** Does not own the socket. Used by one thread. */
class Connection {
public:
    /** How long a client may take to send a request, or to begin one. */
    static constexpr std::chrono::seconds TIMEOUT{10};

    /** Makes the socket a non-blocking one. @throws std::runtime_error */
    Connection(SSL_CTX* tls, int socket);
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    /** @return whether the client took part */
    bool Handshake();
    /** Whether that went on from an earlier connection. */
    bool IsResumed() const {
        return SSL_session_reused(m_ssl.get()) == 1;
    }

    /** Forgets the last request, and waits for the next. @return false when there comes none */
    bool ReadRequest();
    /** Its bytes, as far as they were read. */
    std::string Request() const {
        return m_input.substr(0, m_size);
    }
    /** Why it is refused; null where nothing was wrong. */
    const Objection* FoundObjection() const {
        return m_objection;
    }

    /** @return whether all was sent */
    bool Send(std::string_view bytes);
    /** Waits, unless the connection ends meanwhile. @return whether it goes on */
    bool Pause(std::chrono::milliseconds time) const;

    /** Says goodbye, and takes for a while what the client still sends: unread, it would cost the client the
     * answer. */
    void End();

private:
    using Clock = std::chrono::steady_clock;

    // @return false where the deadline passes first, or the connection breaks:
    bool WaitFor(short events) const;
    /** Repeats an operation of the TLS library until it is done. */
    bool Repeat(const std::function<int()>& operation);
    /** Takes what comes, unless too much of all connections is held. */
    bool Fill();

    /** Whether a request, or an objection to one, has come. */
    bool IsWhole();
    /** Sets how long the request is that the head begins. */
    const Objection* Measure();

    std::unique_ptr<SSL, Freed<&SSL_free>> m_ssl;
    int m_socket;
    bool m_broken = false;
    Clock::time_point m_deadline;
    /** What has come: a request, and what of the next one came with it. */
    std::string m_input;
    /** How much of it is the request. */
    std::size_t m_size = 0;
    const Objection* m_objection = nullptr;
};

}  // namespace LocalCloud
