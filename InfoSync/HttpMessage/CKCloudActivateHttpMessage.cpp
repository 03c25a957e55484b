#include "HttpMessage/CKCloudActivateHttpMessage.h"

#include <NxCurl.h>

#include "HttpMessage/CloudHeaders.h"
#include "Util/JsonUtil.h"
#include "Util/Log.h"

namespace {

constexpr int OS_TYPE_TIZEN = 2;
constexpr char DEVICE_TYPE_TV[] = "10";

}  // namespace

CKCloudActivateHttpMessage::CKCloudActivateHttpMessage(const std::string& apiPath)
    : m_stagingBaseUrl(INFOSYNC_CLOUD_STAGING_BASE_URL),
      m_baseUrl(INFOSYNC_CLOUD_BASE_URL),
      m_apiPath(apiPath) {}

void CKCloudActivateHttpMessage::BuildMessage(RequestType /*type*/) {
    ApiTracker tracker("virtual void CKCloudActivateHttpMessage::BuildMessage(RequestType)", __LINE__);
    const auto client = GetHttpClient();
    client->setOption(NXCURL_OPTION_URL, NxCurlUtility::makeUri(m_baseUrl + m_apiPath, ""));
    client->setOption(NXCURL_OPTION_SSL_VERIFYPEER, 1L);
    client->setOption(NXCURL_OPTION_WRITEFUNCTION, &WriteCallback);
    client->setOption(NXCURL_OPTION_WRITEDATA, GetResponseSink());
    const HttpBody body = BuildBody();
    const HttpHeader header = BuildHeader(static_cast<int>(body.size()));
    if (!header.empty()) {
        client->setOption(NXCURL_OPTION_HTTPHEADER, header);
    }
    client->setOption(NXCURL_OPTION_POST, 1L);
    client->setOption(NXCURL_OPTION_POSTFIELDS, body);
}

HttpBody CKCloudActivateHttpMessage::BuildBody() {
    ApiTracker tracker("virtual HttpBody CKCloudActivateHttpMessage::BuildBody()", __LINE__);
    auto data = GetHttpMessageData();
    Json::Value root;
    Json::Value& device = root["device"];
    device["deviceIds"]["cdid"] = data["cdid"];
    device["osType"] = OS_TYPE_TIZEN;
    device["osVersion"] = data["osVersion"];
    device["deviceType"] = DEVICE_TYPE_TV;
    device["model"] = data["model"];
    Json::Value& package = root["service"]["package"];
    package["packageVersion"] = data["packageVersion"];
    // This package has no version code of its own; the cloud expects the version in its place.
    package["packageVersionCode"] = data["packageVersion"];
    HttpBody body = InfoSyncUtil::WriteJson(root);
    INFOSYNC_LOG(DLOG_DEBUG, "%s", body.c_str());
    return body;
}

HttpHeader CKCloudActivateHttpMessage::BuildHeader(int contentLength) {
    ApiTracker tracker("virtual HttpHeader CKCloudActivateHttpMessage::BuildHeader(int)", __LINE__);
    auto data = GetHttpMessageData();
    return CloudHeaders::UserRequest(data, {"x-kc-uid", "x-kc-access-token", "x-kc-app-id"}, contentLength);
}

void CKCloudActivateHttpMessage::HandleHttpStatusCode(long statusCode) {
    // The answer's own result code decides.
    INFOSYNC_LOG(DLOG_ERROR, "status code : %ld", statusCode);
}
