/** Runs a transfer, and ends it when it stalls or grows too large: libcurl's own rules for that are inexact.
 */
#pragma once

#include <curl/curl.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

class TransferWatch {
public:
    TransferWatch(std::chrono::seconds longestStall, std::int64_t mostBytes)
        : m_longestStall(longestStall), m_mostBytes(mostBytes) {}
    TransferWatch(const TransferWatch&) = delete;
    TransferWatch& operator=(const TransferWatch&) = delete;

    /** Performs what the handle is set up for. @throws std::runtime_error when the watch ended it */
    CURLcode Run(CURL* handle);

    /** Counts bytes of the answer. @return false when they are too many: the write function then has to end
     * it */
    bool Count(std::size_t bytes);

private:
    using Clock = std::chrono::steady_clock;

    void Attach(CURL* handle);
    /** Until when to wait for a byte, at most; 0 when the time is up. */
    int MillisecondsLeft() const;

    static int OnConnected(void* watch, char* remoteAddress, char* localAddress, int remotePort,
                           int localPort);
    static int OnActivity(CURL* handle, curl_infotype type, char* data, std::size_t size, void* watch);

    const std::chrono::seconds m_longestStall;
    const std::int64_t m_mostBytes;
    std::int64_t m_bytes = 0;
    bool m_connected = false;
    Clock::time_point m_lastActivity;
};
