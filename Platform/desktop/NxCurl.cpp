#include <NxCurl.h>
#include <dlog.h>

#include <algorithm>
#include <exception>

#include "NxCurlTransfer.h"

namespace {

bool HasLineBreak(const std::string& text) {
    return text.find_first_of(std::string("\r\n\0", 3)) != std::string::npos;
}

/** Queries hold what is nobody's business in a log. */
std::string WithoutQuery(const std::string& url) {
    return url.substr(0, url.find_first_of("?#"));
}

}  // namespace

NxCurlEasy::NxCurlEasy() = default;

NxCurlEasy::~NxCurlEasy() = default;

bool NxCurlEasy::Initialize() {
    try {
        m_transfer = std::make_unique<Transfer>();
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

bool NxCurlEasy::setOption(NXCURL_OPTION_TYPE option, const std::string& value) {
    auto& request = m_transfer->request;
    switch (option) {
        case NXCURL_OPTION_URL:
            request.url = value;
            return !HasLineBreak(value) || m_transfer->Refuse("a line break in the URL");
        case NXCURL_OPTION_POSTFIELDS:
            request.body = value;
            return true;
        default:
            return m_transfer->Refuse("option " + std::to_string(option) + " takes no text");
    }
}

bool NxCurlEasy::setOption(NXCURL_OPTION_TYPE option, long value) {
    auto& request = m_transfer->request;
    switch (option) {
        case NXCURL_OPTION_SSL_VERIFYPEER:
            return value == 1 || m_transfer->Refuse("the peer is verified always");
        case NXCURL_OPTION_POST:
            request.isPost = value != 0;
            return true;
        case NXCURL_OPTION_POSTFIELDSIZE:
            request.bodySize = value < 0 ? std::nullopt : std::optional<long>(value);
            return true;
        default:
            return m_transfer->Refuse("option " + std::to_string(option) + " takes no number");
    }
}

bool NxCurlEasy::setOption(NXCURL_OPTION_TYPE option, void* value) {
    if (option != NXCURL_OPTION_WRITEDATA) {
        return m_transfer->Refuse("option " + std::to_string(option) + " takes no pointer");
    }
    m_transfer->request.writeData = value;
    return true;
}

bool NxCurlEasy::setOption(NXCURL_OPTION_TYPE option, NxCurlWriteFunction value) {
    if (option != NXCURL_OPTION_WRITEFUNCTION) {
        return m_transfer->Refuse("option " + std::to_string(option) + " takes no function");
    }
    m_transfer->request.write = value;
    return true;
}

bool NxCurlEasy::setOption(NXCURL_OPTION_TYPE option, const std::list<std::string>& value) {
    if (option != NXCURL_OPTION_HTTPHEADER) {
        return m_transfer->Refuse("option " + std::to_string(option) + " takes no list");
    }
    const bool isClean = std::none_of(value.begin(), value.end(), [](const std::string& line) {
        return HasLineBreak(line) || line.find(':') == std::string::npos;
    });
    if (!isClean) {
        return m_transfer->Refuse("a header line with a line break in it, or without a colon");
    }
    m_transfer->request.headers = value;
    return true;
}

void NxCurlEasy::setTimeout(long connectSeconds, long stallSeconds) {
    m_transfer->request.connectSeconds = connectSeconds;
    m_transfer->request.stallSeconds = stallSeconds;
}

// On a set the client adds the set's own identity here; there is none off the set.
void NxCurlEasy::setSmartTVHeader(t_HdrOption /*option*/) {}

// On a set the gate site needs certificates of its own; off the set [http] ca_file names what every host is
// verified against, so that there is nothing to relax or to add for this one.
void NxCurlEasy::setQuorlenGatesiteSSLContext() {}

bool NxCurlEasy::send() {
    try {
        m_transfer->Send();
        return true;
    } catch (const std::exception& error) {
        __dlog_print(LOG_ID_MAIN, DLOG_ERROR, "NXCURL", "%s: %s",
                     WithoutQuery(m_transfer->request.url).c_str(), error.what());
        return false;
    }
}

bool NxCurlEasy::getInfo(NXCURL_INFO_TYPE info, long* value) {
    if (info != NXCURL_INFO_RESPONSE_CODE || value == nullptr || m_transfer->responseCode == 0) {
        return false;
    }
    *value = m_transfer->responseCode;
    return true;
}

void NxCurlEasy::reset() {
    m_transfer->request = {};
    m_transfer->responseCode = 0;
}
