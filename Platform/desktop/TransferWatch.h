/** Ends a transfer that stalls or grows too large: rules that libcurl has none for, or only inexact ones. */
#pragma once

#include <curl/curl.h>

#include <chrono>
#include <cstdint>
#include <string>

class TransferWatch {
public:
    TransferWatch(std::chrono::seconds longestStall, std::int64_t mostBytes)
        : m_longestStall(longestStall), m_mostBytes(mostBytes) {}
    TransferWatch(const TransferWatch&) = delete;
    TransferWatch& operator=(const TransferWatch&) = delete;

    /** Installs the watch, which must outlive the transfer. */
    void Attach(CURL* handle);

    /** Counts bytes of the answer. @return false when they are too many: the transfer has to end */
    bool Count(std::size_t bytes);

    /** Why the watch ended the transfer; empty when it did not. */
    const std::string& Problem() const {
        return m_problem;
    }

private:
    using Clock = std::chrono::steady_clock;

    static int OnConnected(void* watch, char* remoteAddress, char* localAddress, int remotePort,
                           int localPort);
    static int OnActivity(CURL* handle, curl_infotype type, char* data, std::size_t size, void* watch);
    static int OnProgress(void* watch, curl_off_t downloadTotal, curl_off_t downloaded,
                          curl_off_t uploadTotal, curl_off_t uploaded);

    const std::chrono::seconds m_longestStall;
    const std::int64_t m_mostBytes;
    std::int64_t m_bytes = 0;
    bool m_connected = false;
    Clock::time_point m_lastActivity;
    std::string m_problem;
};
