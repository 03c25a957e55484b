/**
 * One TLS connection. It reads each request whole, within bounds, and is the stream from which the HTTP
 * library then takes that request and to which it writes the answer. The answer is held until it is sent on
 * purpose: by then it is recorded, and a fault can spoil it.
 */
#pragma once

#include <httplib.h>

#include <chrono>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "Cloud/State/Certificates.h"

namespace LocalCloud {

/** Why a request is not looked at; the connection ends with that answer. */
struct Objection {
    int status;
    const char* statusText;
    const char* message;
};

/** Does not own the socket. Used by one thread. */
class Connection : public httplib::Stream {
public:
    /** How long an idle one is kept. */
    static constexpr std::chrono::seconds KEEP_ALIVE{10};

    /** Makes the socket a non-blocking one. */
    Connection(SslSession session, socket_t socket);
    ~Connection() override;

    /** @return whether the client took part */
    bool Handshake();

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
    /** The bytes that were written since the last call; none of them is sent yet. */
    std::string TakeAnswer() {
        return std::exchange(m_answer, {});
    }

    /** @return whether all was sent */
    bool Send(std::string_view bytes);
    /** Waits, unless the connection ends meanwhile. @return whether it goes on */
    bool Pause(std::chrono::milliseconds time) const;

    /** Says goodbye, and takes for a while what the client still sends: unread, it would cost the client the
     * answer. */
    void End();

    bool is_readable() const override {
        return m_read < m_size;
    }
    bool is_writable() const override {
        return !m_broken;
    }
    ssize_t read(char* data, size_t size) override;
    ssize_t write(const char* data, size_t size) override;
    void get_remote_ip_and_port(std::string& /*ip*/, int& /*port*/) const override {}
    void get_local_ip_and_port(std::string& /*ip*/, int& /*port*/) const override {}
    socket_t socket() const override {
        return m_socket;
    }

private:
    using Clock = std::chrono::steady_clock;

    /** Repeats an operation of the TLS library until it is done. @return false where the deadline passes
     * first, or the connection breaks */
    bool Repeat(const std::function<int()>& operation, Clock::time_point deadline);
    /** Takes what comes. @return false where nothing did, or too much of all connections is held */
    bool Fill(Clock::time_point deadline);
    bool ReadHead(Clock::time_point deadline);
    bool ReadBody(Clock::time_point deadline);
    /** Sets how long the request is that the head begins. */
    const Objection* Measure();

    SslSession m_ssl;
    socket_t m_socket;
    bool m_broken = false;
    /** What has come: a request, and what of the next one came with it. */
    std::string m_input;
    /** How much of it is the request, and how much of that the library has taken. */
    std::size_t m_size = 0;
    std::size_t m_read = 0;
    std::string m_answer;
    const Objection* m_objection = nullptr;
};

/**
 * The connections that are open, so that all can be ended, and silent ones make way for new ones. Safe from
 * any thread. A socket is ended by being shut down; who serves it sees that and closes it.
 */
class Connections {
public:
    // A client may keep its connections as long as it likes: enough for a fleet of simulated televisions.
    static constexpr std::size_t MOST = 240;

    /** Takes in a new one, which waits for its client. @return whether it is to be served: not after EndAll()
     */
    bool Enter(int socket);
    /** Before the socket is closed. */
    void Leave(int socket);

    /** From now on the server waits for the client's request, or it does not. */
    void SetWaiting(int socket, bool isWaiting);

    /** Ends the one that has kept the server waiting longest, where there are too many. @return whether there
     * were */
    bool MakeRoom();
    /** Ends every connection; no other is served. */
    void EndAll();

private:
    using Clock = std::chrono::steady_clock;

    static constexpr Clock::time_point NOT_WAITING = Clock::time_point::max();

    std::mutex m_mutex;
    bool m_ends = false;
    /** Since when the server has been waiting for the client. */
    std::map<int, Clock::time_point> m_waitingSince;
};

}  // namespace LocalCloud
