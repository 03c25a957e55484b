#include "TransferWatch.h"

void TransferWatch::Attach(CURL* handle) {
    curl_easy_setopt(handle, CURLOPT_PREREQFUNCTION, &OnConnected);
    curl_easy_setopt(handle, CURLOPT_PREREQDATA, this);
    // The progress call counts the body alone; the trace tells of every TLS record and so of slow headers
    // too.
    curl_easy_setopt(handle, CURLOPT_VERBOSE, 1L);
    curl_easy_setopt(handle, CURLOPT_DEBUGFUNCTION, &OnActivity);
    curl_easy_setopt(handle, CURLOPT_DEBUGDATA, this);
    curl_easy_setopt(handle, CURLOPT_NOPROGRESS, 0L);
    curl_easy_setopt(handle, CURLOPT_XFERINFOFUNCTION, &OnProgress);
    curl_easy_setopt(handle, CURLOPT_XFERINFODATA, this);
}

bool TransferWatch::Count(std::size_t bytes) {
    m_bytes += static_cast<std::int64_t>(bytes);
    if (m_bytes > m_mostBytes && m_problem.empty()) {
        m_problem =
            "the answer is over " + std::to_string(m_mostBytes) + " bytes ([http] max_response_bytes)";
    }
    return m_problem.empty();
}

int TransferWatch::OnConnected(void* watch, char* /*remoteAddress*/, char* /*localAddress*/,
                               int /*remotePort*/, int /*localPort*/) {
    auto& self = *static_cast<TransferWatch*>(watch);
    // Until here the connect time-out ruled.
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

int TransferWatch::OnProgress(void* watch, curl_off_t /*downloadTotal*/, curl_off_t /*downloaded*/,
                              curl_off_t /*uploadTotal*/, curl_off_t /*uploaded*/) {
    auto& self = *static_cast<TransferWatch*>(watch);
    if (self.m_problem.empty() && self.m_connected &&
        Clock::now() - self.m_lastActivity >= self.m_longestStall) {
        self.m_problem = "no byte for " + std::to_string(self.m_longestStall.count()) + " seconds";
    }
    return self.m_problem.empty() ? 0 : 1;
}
