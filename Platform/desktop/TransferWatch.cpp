#include "TransferWatch.h"

#include <algorithm>
#include <memory>
#include <stdexcept>

CURLcode TransferWatch::Run(CURL* handle) {
    Attach(handle);
    const std::unique_ptr<CURLM, decltype(&curl_multi_cleanup)> multi(curl_multi_init(), &curl_multi_cleanup);
    if (!multi || curl_multi_add_handle(multi.get(), handle) != CURLM_OK) {
        return CURLE_OUT_OF_MEMORY;
    }
    const auto detach = [&multi](CURL* attached) { curl_multi_remove_handle(multi.get(), attached); };
    const std::unique_ptr<CURL, decltype(detach)> attached(handle, detach);

    int running = 1;
    CURLMcode code = curl_multi_perform(multi.get(), &running);
    while (code == CURLM_OK && running != 0 && MillisecondsLeft() != 0) {
        curl_multi_poll(multi.get(), nullptr, 0, MillisecondsLeft(), nullptr);
        code = curl_multi_perform(multi.get(), &running);
    }
    if (code != CURLM_OK) {
        throw std::runtime_error(curl_multi_strerror(code));
    }
    if (m_bytes > m_mostBytes) {
        throw std::runtime_error("the answer is over " + std::to_string(m_mostBytes) +
                                 " bytes ([http] max_response_bytes)");
    }
    int left = 0;
    const CURLMsg* message = curl_multi_info_read(multi.get(), &left);
    if (message == nullptr) {
        throw std::runtime_error("no byte for " + std::to_string(m_longestStall.count()) + " seconds");
    }
    return message->data.result;
}

bool TransferWatch::Count(std::size_t bytes) {
    m_bytes += static_cast<std::int64_t>(bytes);
    return m_bytes <= m_mostBytes;
}

void TransferWatch::Attach(CURL* handle) {
    curl_easy_setopt(handle, CURLOPT_PREREQFUNCTION, &OnConnected);
    curl_easy_setopt(handle, CURLOPT_PREREQDATA, this);
    // The trace tells of every TLS record, and so of an answer's headers that come in byte by byte.
    curl_easy_setopt(handle, CURLOPT_VERBOSE, 1L);
    curl_easy_setopt(handle, CURLOPT_DEBUGFUNCTION, &OnActivity);
    curl_easy_setopt(handle, CURLOPT_DEBUGDATA, this);
}

int TransferWatch::MillisecondsLeft() const {
    using std::chrono::milliseconds;
    constexpr milliseconds LONGEST_WAIT{1000};
    if (!m_connected) {
        return static_cast<int>(LONGEST_WAIT.count());  // the connect time-out rules
    }
    const auto left = std::chrono::ceil<milliseconds>(m_lastActivity + m_longestStall - Clock::now());
    return static_cast<int>(std::clamp(left, milliseconds(0), LONGEST_WAIT).count());
}

int TransferWatch::OnConnected(void* watch, char* /*remoteAddress*/, char* /*localAddress*/,
                               int /*remotePort*/, int /*localPort*/) {
    auto& self = *static_cast<TransferWatch*>(watch);
    self.m_connected = true;
    self.m_lastActivity = Clock::now();
    return CURL_PREREQFUNC_OK;
}

int TransferWatch::OnActivity(CURL* /*handle*/, curl_infotype type, char* /*data*/, std::size_t size,
                              void* watch) {
    auto& self = *static_cast<TransferWatch*>(watch);
    if (type != CURLINFO_TEXT) {
        self.m_lastActivity = Clock::now();
    }
    if (type == CURLINFO_HEADER_IN) {
        self.Count(size);
    }
    return 0;
}
