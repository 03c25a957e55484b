#include <NxCurl.h>

#include "FakePlatform.h"

class NxCurlEasy::Transfer {
public:
    bool Set(NXCURL_OPTION_TYPE option, const std::string& value = "") {
        Set(std::to_string(static_cast<int>(option)) + value);
        return Fake::Tv().resultToIgnore == 0;
    }

    void Set(const std::string& setting) {
        Fake::Note("> NxCurlEasy: " + setting);
        request.settings.push_back(setting);
    }

    Fake::HttpRequest request;
    long status = 0;
    NxCurlWriteFunction write = nullptr;
    void* sink = nullptr;
};

namespace Fake {

void Answer(const HttpAnswer& answer) {
    TheState().answers.push_back(answer);
}

void Answer(const std::string& body, long status) {
    Answer(HttpAnswer{{body}, status});
}

void Serve(std::function<HttpAnswer(const HttpRequest&)> server) {
    TheState().server = std::move(server);
}

const std::vector<HttpRequest>& HttpRequests() {
    return TheState().httpRequests;
}

}  // namespace Fake

NxCurlEasy::NxCurlEasy() {
    Fake::HandOut(this);
}

NxCurlEasy::~NxCurlEasy() {
    Fake::TakeBack(this);
}

bool NxCurlEasy::Initialize() {
    if (Fake::Enter("NxCurlEasy::Initialize")) {
        return false;
    }
    m_transfer = std::make_unique<Transfer>();
    return true;
}

bool NxCurlEasy::setOption(NXCURL_OPTION_TYPE option, const std::string& value) {
    auto& request = m_transfer->request;
    if (option == NXCURL_OPTION_URL) {
        request.url = value;
    } else {
        request.body = value;
    }
    return m_transfer->Set(option, "=" + value);
}

bool NxCurlEasy::setOption(NXCURL_OPTION_TYPE option, long value) {
    return m_transfer->Set(option, "=" + std::to_string(value));
}

bool NxCurlEasy::setOption(NXCURL_OPTION_TYPE option, void* value) {
    m_transfer->sink = value;
    return m_transfer->Set(option);
}

bool NxCurlEasy::setOption(NXCURL_OPTION_TYPE option, NxCurlWriteFunction value) {
    m_transfer->write = value;
    return m_transfer->Set(option);
}

bool NxCurlEasy::setOption(NXCURL_OPTION_TYPE option, const std::list<std::string>& value) {
    m_transfer->request.header.assign(value.begin(), value.end());
    for (const auto& line : value) {
        Fake::Note("> header " + line);
    }
    return m_transfer->Set(option);
}

void NxCurlEasy::setTimeout(long connectSeconds, long stallSeconds) {
    m_transfer->Set("timeout " + std::to_string(connectSeconds) + " " + std::to_string(stallSeconds));
}

void NxCurlEasy::setSmartTVHeader(t_HdrOption option) {
    m_transfer->Set("tv header " + std::to_string(option));
}

void NxCurlEasy::setQuorlenGatesiteSSLContext() {
    m_transfer->Set("gate site");
}

bool NxCurlEasy::send() {
    auto& state = Fake::TheState();
    Fake::Enter("NxCurlEasy::send", m_transfer->request.url);
    state.httpRequests.push_back(m_transfer->request);
    if (state.answers.empty() && state.server) {
        state.answers.push_back(state.server(m_transfer->request));
    }
    if (state.answers.empty() || m_transfer->write == nullptr || m_transfer->sink == nullptr) {
        Fake::Misused("no answer, or no place for it: " + m_transfer->request.url);
    }
    const Fake::HttpAnswer answer = state.answers.front();
    state.answers.pop_front();
    for (std::string piece : answer.pieces) {
        if (m_transfer->write(piece.data(), 1, piece.size(), m_transfer->sink) != piece.size()) {
            return false;
        }
    }
    m_transfer->status = answer.status;
    return answer.whole;
}

bool NxCurlEasy::getInfo(NXCURL_INFO_TYPE info, long* value) {
    Fake::Note("> NxCurlEasy::getInfo");
    if (info != NXCURL_INFO_RESPONSE_CODE || m_transfer->status == 0) {
        return false;
    }
    *value = m_transfer->status;
    return Fake::Tv().resultToIgnore == 0;
}

void NxCurlEasy::reset() {
    Fake::Enter("NxCurlEasy::reset");
    *m_transfer = Transfer();
}

std::string NxCurlUtility::makeUri(const std::string& base, const std::string& query) {
    return query.empty() ? base : base + "?" + query;
}

void NxCurlUtility::makeQueryString(std::string& query, const std::string& name, const std::string& value) {
    query += (query.empty() ? "" : "&") + name + "=" + value;
}

bool NxCurlUtility::checkIsHttps(const std::string& url) {
    return url.rfind("https://", 0) == 0;
}
