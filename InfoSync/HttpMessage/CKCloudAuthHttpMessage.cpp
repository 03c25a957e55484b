#include "HttpMessage/CKCloudAuthHttpMessage.h"

#include <NxCurl.h>

#include "HttpMessage/CloudHeaders.h"
#include "Util/Log.h"

CKCloudAuthHttpMessage::CKCloudAuthHttpMessage(const std::string& apiPath)
    : m_stagingBaseUrl(INFOSYNC_CLOUD_STAGING_BASE_URL),
      m_baseUrl(INFOSYNC_CLOUD_BASE_URL),
      m_apiPath(apiPath) {}

void CKCloudAuthHttpMessage::BuildMessage(RequestType /*type*/) {
    ApiTracker tracker("virtual void CKCloudAuthHttpMessage::BuildMessage(RequestType)", __LINE__);
    const auto client = GetHttpClient();
    client->setOption(NXCURL_OPTION_URL, NxCurlUtility::makeUri(m_baseUrl + m_apiPath, ""));
    client->setOption(NXCURL_OPTION_SSL_VERIFYPEER, 1L);
    client->setOption(NXCURL_OPTION_WRITEFUNCTION, &WriteCallback);
    client->setOption(NXCURL_OPTION_WRITEDATA, GetResponseSink());
    client->setOption(NXCURL_OPTION_POSTFIELDSIZE, 0L);
    const HttpHeader header = BuildHeader(0);
    if (!header.empty()) {
        client->setOption(NXCURL_OPTION_HTTPHEADER, header);
    }
    client->setOption(NXCURL_OPTION_POST, 1L);
}

HttpHeader CKCloudAuthHttpMessage::BuildHeader(int contentLength) {
    ApiTracker tracker("virtual HttpHeader CKCloudAuthHttpMessage::BuildHeader(int)", __LINE__);
    auto data = GetHttpMessageData();
    return CloudHeaders::UserRequest(data, {"x-kc-uid", "x-kc-access-token", "x-kc-app-id", "x-kc-dvc-id"},
                                     contentLength);
}

void CKCloudAuthHttpMessage::HandleHttpStatusCode(long statusCode) {
    // The answer's own result code decides.
    INFOSYNC_LOG(DLOG_ERROR, "status code : %ld", statusCode);
}
