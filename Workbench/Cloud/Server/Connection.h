/** One TLS connection, as a stream that the HTTP library reads requests from and writes answers to. */
#pragma once

#include <httplib.h>
#include <openssl/ssl.h>

#include <array>
#include <chrono>
#include <string>

namespace LocalCloud {

/** Neither owns the socket nor ends the session. Used by one thread. */
class Connection : public httplib::Stream {
public:
    /** What of an exchange is kept: the answer's first line only, or every byte both ways. */
    enum class Keep { StatusLine, Everything };

    Connection(SSL* ssl, socket_t socket) : m_ssl(ssl), m_socket(socket) {}

    /** Waits for the next request's first byte; the peer's end of the connection counts as one. */
    bool WaitForInput(std::chrono::milliseconds time);

    /** Forgets the last exchange. */
    void BeginExchange(Keep keep);
    /** From now on the answer's bytes are kept and not sent, until the next exchange. */
    void HoldAnswer() {
        m_holds = true;
    }
    /** Sends past what is held. @return whether all was sent */
    bool Send(const char* data, std::size_t size);

    const std::string& Request() const {
        return m_request;
    }
    const std::string& Answer() const {
        return m_answer;
    }
    /** The status of the answer; 0 when there is none yet. */
    int Status() const;

    bool is_readable() const override;
    bool is_writable() const override;
    ssize_t read(char* data, size_t size) override;
    ssize_t write(const char* data, size_t size) override;
    void get_remote_ip_and_port(std::string& ip, int& port) const override;
    void get_local_ip_and_port(std::string& ip, int& port) const override;
    socket_t socket() const override;

private:
    bool Fill();

    SSL* m_ssl;
    socket_t m_socket;
    // The library reads a request's lines byte by byte.
    std::array<char, 16384> m_buffer = {};
    std::size_t m_begin = 0;
    std::size_t m_end = 0;
    Keep m_keep = Keep::StatusLine;
    bool m_holds = false;
    bool m_broken = false;
    std::string m_request;
    std::string m_answer;
};

}  // namespace LocalCloud
