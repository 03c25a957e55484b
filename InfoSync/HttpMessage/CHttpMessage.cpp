#include "HttpMessage/CHttpMessage.h"

#include <NxCurl.h>

#include "Util/CInfoSyncException.h"
#include "Util/Log.h"

void CHttpMessage::Init() {
    m_httpClient = std::make_shared<NxCurlEasy>();
    if (!m_httpClient->Initialize()) {
        m_httpClient.reset();
        throw CInfoSyncException("fail to Initalize Nxcurl");
    }
}

void CHttpMessage::Reset() {
    m_httpClient->reset();
}

void CHttpMessage::AddHttpMessageData(const std::string& key, const std::string& value) {
    INFOSYNC_LOG(DLOG_INFO, "key:%s, value : %s", key.c_str(), value.c_str());
    m_messageData.emplace(key, value);
}

void CHttpMessage::Request(RequestType type) {
    ApiTracker tracker("virtual void CHttpMessage::Request(RequestType)", __LINE__);
    m_response.clear();
    BuildMessage(type);
    INFOSYNC_LOG(DLOG_INFO, "before send");
    if (!m_httpClient->send()) {
        throw CInfoSyncException("request failed");
    }
    INFOSYNC_LOG(DLOG_INFO, "after send");
    long statusCode = 0;
    m_httpClient->getInfo(NXCURL_INFO_RESPONSE_CODE, &statusCode);
    HandleHttpStatusCode(statusCode);
}

std::string CHttpMessage::GetHttpResponse() {
    return m_response;
}

std::map<std::string, std::string> CHttpMessage::GetHttpMessageData() {
    for (const auto& [key, value] : m_messageData) {
        INFOSYNC_LOG(DLOG_DEBUG, "key : %s, vlaue : %s", key.c_str(), value.c_str());
    }
    return m_messageData;
}

void CHttpMessage::BuildMessage(RequestType /*type*/) {
    INFOSYNC_LOG(DLOG_INFO, "need to be implemented at child class");
}

HttpBody CHttpMessage::BuildBody() {
    INFOSYNC_LOG(DLOG_INFO, "need to be implemented at child class");
    return {};
}

HttpHeader CHttpMessage::BuildHeader(int /*contentLength*/) {
    INFOSYNC_LOG(DLOG_INFO, "need to be implemented at child class");
    return {};
}

void CHttpMessage::HandleHttpStatusCode(long /*statusCode*/) {
    INFOSYNC_LOG(DLOG_INFO, "need to be implemented at child class");
}

std::size_t CHttpMessage::WriteCallback(char* data, std::size_t size, std::size_t count, void* userData) {
    ApiTracker tracker("static size_t CHttpMessage::WriteCallback(char*, size_t, size_t, void*)", __LINE__);
    auto& response = *static_cast<std::string*>(userData);
    response.append(data, size * count);
    INFOSYNC_LOG(DLOG_INFO, "%s", response.c_str());
    return size * count;
}
