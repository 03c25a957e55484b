/**
 * One TLS connection, as a stream that the HTTP library reads requests from and writes answers to. An answer
 * is held until it is sent on purpose: by then it is recorded, and a fault can spoil it.
 */
#pragma once

#include <httplib.h>
#include <openssl/ssl.h>

#include <chrono>
#include <optional>
#include <string>
#include <utility>

#include "Cloud/State/Faults.h"

namespace LocalCloud {

/** Neither owns the socket nor ends the session. Used by one thread. */
class Connection : public httplib::Stream {
public:
    Connection(SSL* ssl, socket_t socket) : m_ssl(ssl), m_socket(socket) {}

    /** Waits for the next request's first byte. @return false when there comes none */
    bool WaitForRequest(std::chrono::milliseconds time);

    /** The bytes that were read since the last call. */
    std::string TakeRequest() {
        return std::exchange(m_request, {});
    }
    /** The bytes that were written since the last call; none of them is sent yet. */
    std::string TakeAnswer() {
        return std::exchange(m_answer, {});
    }
    /** Sends the answer, the way a fault wants it sent where there is one. @return whether the connection can
     * go on */
    bool Deliver(const std::string& answer, const std::optional<Fault>& fault);

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
    /** @return whether all was sent */
    bool Send(const char* data, std::size_t size);
    /** Waits, unless the connection ends meanwhile. @return whether it goes on */
    bool Pause(double seconds) const;
    bool SendSlowly(const std::string& answer, double seconds);
    void SendWithoutEnd(double seconds);

    SSL* m_ssl;
    socket_t m_socket;
    bool m_broken = false;
    std::string m_request;
    std::string m_answer;
};

}  // namespace LocalCloud
