#include "HttpMessage/CKCloudDataHttpMessage.h"

#include <NxCurl.h>

#include "HttpMessage/CloudHeaders.h"
#include "Util/CInfoSyncException.h"
#include "Util/Log.h"

namespace {

constexpr char TABLE_VERSION[] = "1";
// What the two numbers mean is the HTTP client's; NxCurl.h says what this tree takes them for.
constexpr long CONNECT_TIMEOUT_SECONDS = 1;
constexpr long STALL_TIMEOUT_SECONDS = 3;
constexpr long STATUS_OK = 200;

}  // namespace

CKCloudDataHttpMessage::CKCloudDataHttpMessage(const std::string& apiPath)
    : m_stagingBaseUrl(INFOSYNC_CLOUD_STAGING_BASE_URL),
      m_baseUrl(INFOSYNC_CLOUD_BASE_URL),
      m_apiPath(apiPath) {}

void CKCloudDataHttpMessage::BuildMessage(RequestType /*type*/) {
    ApiTracker tracker("virtual void CKCloudDataHttpMessage::BuildMessage(RequestType)", __LINE__);
    const auto data = GetHttpMessageData();
    std::string query;
    NxCurlUtility::makeQueryString(query, "table_ver", TABLE_VERSION);
    for (const char* name : {"changed_after", "coldStartable"}) {
        const auto entry = data.find(name);
        if (entry != data.end()) {
            NxCurlUtility::makeQueryString(query, name, entry->second);
        }
    }

    const auto client = GetHttpClient();
    client->setOption(NXCURL_OPTION_URL, NxCurlUtility::makeUri(m_baseUrl + m_apiPath, query));
    client->setOption(NXCURL_OPTION_WRITEFUNCTION, &WriteCallback);
    client->setOption(NXCURL_OPTION_WRITEDATA, GetResponseSink());
    client->setOption(NXCURL_OPTION_SSL_VERIFYPEER, 1L);
    client->setTimeout(CONNECT_TIMEOUT_SECONDS, STALL_TIMEOUT_SECONDS);
    const HttpHeader header = BuildHeader(0);
    if (!header.empty()) {
        client->setOption(NXCURL_OPTION_HTTPHEADER, header);
    }
}

HttpHeader CKCloudDataHttpMessage::BuildHeader(int /*contentLength*/) {
    ApiTracker tracker("virtual HttpHeader CKCloudDataHttpMessage::BuildHeader(int)", __LINE__);
    auto data = GetHttpMessageData();
    return {CloudHeaders::UserAgent(data, "; ;"), "Authorization: Bearer " + data["Authorization"]};
}

void CKCloudDataHttpMessage::HandleHttpStatusCode(long statusCode) {
    INFOSYNC_LOG(DLOG_ERROR, "error code : %ld", statusCode);
    if (statusCode != STATUS_OK) {
        throw CInfoSyncHttpException(GetHttpResponse(), static_cast<int>(statusCode));
    }
}
