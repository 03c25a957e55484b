/**
 * One TLS connection, as a stream that the HTTP library reads requests from and writes answers to. An answer
 * is held until it is sent on purpose: by then it is recorded, and a fault can spoil it.
 */
#pragma once

#include <httplib.h>
#include <openssl/ssl.h>

#include <chrono>
#include <functional>
#include <string>
#include <utility>

#include "Cloud/Server/Tls.h"

namespace LocalCloud {

/** Why a request is not read to its end; the connection ends with that answer. */
struct ReadRefusal {
    int status;
    const char* statusText;
    const char* message;
};

inline constexpr std::size_t LARGEST_BODY = 1U << 20U;
inline constexpr ReadRefusal BODY_TOO_LARGE = {413, "Payload Too Large", "the body is larger than 1 MiB"};

/** Does not own the socket. Used by one thread. */
class Connection : public httplib::Stream {
public:
    /** How long an idle one is kept. */
    static constexpr std::chrono::seconds KEEP_ALIVE{10};

    /** Makes the socket a non-blocking one. */
    Connection(SslSession session, socket_t socket);
    ~Connection() override;

    /** @return whether the client took part @throws nothing */
    bool Handshake();

    /** Waits for the next request's first byte; all of it must have come a while later. @return false when
     * there comes none */
    bool WaitForRequest();

    /** The bytes that were read since WaitForRequest(). */
    const std::string& Request() const {
        return m_request;
    }
    /** Why not more were read; null where nothing was wrong. */
    const ReadRefusal* Refusal() const {
        return m_refusal;
    }
    /** Reads no more of this request. The refusal must outlive the connection. */
    void Refuse(const ReadRefusal& refusal) {
        m_refusal = &refusal;
    }
    /** The bytes that were written since the last call; none of them is sent yet. */
    std::string TakeAnswer() {
        return std::exchange(m_answer, {});
    }

    /** @return whether all was sent */
    bool Send(const char* data, std::size_t size);
    bool Send(const std::string& data) {
        return Send(data.data(), data.size());
    }
    /** Waits, unless the connection ends meanwhile. @return whether it goes on */
    bool Pause(std::chrono::milliseconds time) const;

    /** Says goodbye, and takes for a while what the client still sends: unread, it would cost the client the
     * answer. */
    void End();

    bool is_readable() const override {
        return !m_broken;
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
    bool Repeat(const std::function<int()>& operation, const std::function<Clock::time_point()>& deadline);
    void Keep(const char* data, std::size_t size);
    /** Forgets the request. */
    void Forget();

    SslSession m_ssl;
    socket_t m_socket;
    bool m_broken = false;
    Clock::time_point m_deadline;
    std::string m_request;
    std::string m_answer;
    /** Where the body begins in the request; 0 as long as its head is not whole. */
    std::size_t m_headSize = 0;
    const ReadRefusal* m_refusal = nullptr;
};

}  // namespace LocalCloud
