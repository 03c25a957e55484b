#include "Manager/CCloudServerManager.h"

#include <exception>
#include <utility>

#include "AuthData/CAccessToken.h"
#include "AuthData/CDeviceInfo.h"
#include "AuthData/CJsonWebToken.h"
#include "AuthData/CServiceActivationInfo.h"
#include "CSsoManager.h"
#include "HttpMessage/CKCloudActivateHttpMessage.h"
#include "HttpMessage/CKCloudAuthHttpMessage.h"
#include "HttpMessage/CKCloudDataHttpMessage.h"
#include "Util/CInfoSyncException.h"
#include "Util/ClientIdentity.h"
#include "Util/JsonUtil.h"
#include "Util/Log.h"
#include "Util/SecurityUtil.h"
#include "Util/SystemUtil.h"

namespace {

constexpr int RESULT_SUCCESS = 0;

/** The outcome that a cloud answer reports: 0 is success, also when it reports none. */
int ResultCode(const Json::Value& answer) {
    return answer["rcode"].asInt();
}

/** Parses an answer that must report success; otherwise throws the given message. */
Json::Value ParseSuccess(const std::string& answer, const char* failure) {
    Json::Value response = InfoSyncUtil::ParseAnswer(answer);
    if (ResultCode(response) != RESULT_SUCCESS) {
        throw CInfoSyncException(failure);
    }
    return response;
}

}  // namespace

void CCloudServerManager::Init(std::shared_ptr<CSsoManager> ssoManager) {
    ApiTracker tracker("void CCloudServerManager::Init(std::shared_ptr<CSsoManager>)", __LINE__);
    m_ssoManager = std::move(ssoManager);
    m_jwt = {new CJsonWebToken, [](CJsonWebToken* jwt) {
                 jwt->Deinit();
                 delete jwt;
             }};
    m_serviceActivationInfo = {new CServiceActivationInfo, [](CServiceActivationInfo* info) { delete info; }};
    const std::string loginId = m_ssoManager->GetLogInId();
    m_jwt->Init(loginId);
    m_serviceActivationInfo->Init(loginId);
}

void CCloudServerManager::GetBTInfoDataFromCloud(const std::shared_ptr<CAccessToken>& accessToken) {
    ApiTracker tracker(
        "void CCloudServerManager::GetBTInfoDataFromCloud(const std::shared_ptr<CAccessToken>&)", __LINE__);
    m_accessToken = accessToken;
    try {
        ActivateCloudServer();
        IssueJWT();
        DownSyncBtInfoFromCloud();
    } catch (const std::exception& e) {
        INFOSYNC_LOG(DLOG_ERROR, "%s", e.what());
    }
}

void CCloudServerManager::ActivateCloudServer() {
    ApiTracker tracker("void CCloudServerManager::ActivateCloudServer()", __LINE__);
    if (m_serviceActivationInfo->IsValid()) {
        INFOSYNC_LOG(DLOG_INFO, "Already activated");
        return;
    }
    INFOSYNC_LOG(DLOG_WARN, "Service is not acitivated");
    const std::unique_ptr<IHttpMessage> message = std::make_unique<CKCloudActivateHttpMessage>(ACTIVATE_PATH);
    message->Init();
    SystemUtil::AddClientIdentity(*message);
    AddUserCredentials(*message);
    message->AddHttpMessageData("cdid", InfoSyncUtil::GetCdid(SystemUtil::GetTizenID()));
    message->AddHttpMessageData("osVersion", SystemUtil::GetTizenVersion());
    message->AddHttpMessageData("packageVersion", ClientIdentity::PACKAGE_VERSION);
    const std::string answer = Exchange(*message, RequestType::Post);
    INFOSYNC_LOG(DLOG_INFO, "%s", answer.c_str());
    m_serviceActivationInfo->ImportResponse(ParseSuccess(answer, "Fail to activate"));
}

void CCloudServerManager::IssueJWT() {
    ApiTracker tracker("void CCloudServerManager::IssueJWT()", __LINE__);
    if (m_jwt->IsValid()) {
        INFOSYNC_LOG(DLOG_INFO, "Already valid JWT exist");
        return;
    }
    INFOSYNC_LOG(DLOG_WARN, "JWT is not valid");
    const std::unique_ptr<IHttpMessage> message = std::make_unique<CKCloudAuthHttpMessage>(APP_TOKEN_PATH);
    message->Init();
    SystemUtil::AddClientIdentity(*message);
    AddUserCredentials(*message);
    message->AddHttpMessageData("x-kc-dvc-id", m_serviceActivationInfo->GetDviceId());
    const std::string answer = Exchange(*message, RequestType::Post);
    INFOSYNC_LOG(DLOG_INFO, "%s", answer.c_str());
    m_jwt->ImportResponse(ParseSuccess(answer, "Fail to get JWT"));
}

void CCloudServerManager::DownSyncBtInfoFromCloud() {
    ApiTracker tracker("void CCloudServerManager::DownSyncBtInfoFromCloud()", __LINE__);
    CDeviceInfo deviceInfo;
    deviceInfo.Init(m_ssoManager->GetLogInId());
    const std::shared_ptr<IHttpMessage> message = std::make_unique<CKCloudDataHttpMessage>(RECORDS_PATH);
    message->Init();
    SystemUtil::AddClientIdentity(*message);
    message->AddHttpMessageData("Authorization", m_jwt->GetToken());
    const std::int64_t timestamp = GetLatSyncedTimestamp(deviceInfo);
    if (timestamp >= 1) {
        INFOSYNC_LOG(DLOG_INFO, "last synced timestamp : %lld", static_cast<long long>(timestamp));
        message->AddHttpMessageData("changed_after", std::to_string(timestamp));
        message->AddHttpMessageData("coldStartable", "true");
    }
    std::string answer;
    try {
        answer = Exchange(*message, RequestType::Get);
    } catch (const CInfoSyncHttpException& refusal) {
        const Json::Value error = InfoSyncUtil::ParseRefusal(refusal.GetResponse());
        INFOSYNC_LOG(DLOG_ERROR, "%s", error.toStyledString().c_str());
        const int resultCode = ResultCode(error);
        if (resultCode == RESULT_MARK_TOO_OLD || resultCode == RESULT_MARK_UNKNOWN) {
            deviceInfo.Reset();
        }
        throw;
    }
    INFOSYNC_LOG(DLOG_INFO, "%s", answer.c_str());
    deviceInfo.ImportData(answer);
}

std::int64_t CCloudServerManager::GetLatSyncedTimestamp(CDeviceInfo& deviceInfo) {
    ApiTracker tracker("std::int64_t CCloudServerManager::GetLatSyncedTimestamp(CDeviceInfo&)", __LINE__);
    try {
        // Reading makes what is missing: a user without records then has empty ones, which a first batch is
        // merged into.
        return deviceInfo.GetUserData()[CDeviceInfo::META][CDeviceInfo::SYNCED_TIMESTAMP].asInt64();
    } catch (const std::exception&) {
        INFOSYNC_LOG(DLOG_ERROR, "fail to get json info.");
        return 0;
    }
}

void CCloudServerManager::AddUserCredentials(IHttpMessage& message) const {
    message.AddHttpMessageData("x-kc-uid", m_accessToken->GetUserId());
    message.AddHttpMessageData("x-kc-access-token", m_accessToken->GetAccessToken());
    message.AddHttpMessageData("x-kc-app-id", ClientIdentity::OAUTH_CLIENT_ID);
}

void CCloudServerManager::Deinit() {
    m_ssoManager.reset();
}
