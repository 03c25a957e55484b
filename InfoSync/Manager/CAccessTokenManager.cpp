#include "Manager/CAccessTokenManager.h"

#include <exception>
#include <utility>

#include "AuthData/CAccessToken.h"
#include "AuthData/CAuthCode.h"
#include "CSsoManager.h"
#include "HttpMessage/CAccessTokenHttpMessage.h"
#include "HttpMessage/CRefreshTokenHttpMessage.h"
#include "Util/CInfoSyncException.h"
#include "Util/ClientIdentity.h"
#include "Util/Log.h"

namespace {

constexpr char SSO_SCOPE[] = "offline.access";
constexpr int REJECTED = -1;

/** Takes the sign-in service's answer to a request for a code; userData is the manager that asked. */
constexpr auto ON_AUTH_CODE = [](void* userData, int result, const char* authCode) -> int {
    ApiTracker tracker(
        "CAccessTokenManager::GetAccessToken(CAccessTokenManager::AccessTokenCallback)::<lambda(void*, int, "
        "const char*)>",
        __LINE__);
    if (userData == nullptr) {
        INFOSYNC_LOG(DLOG_ERROR, "userData is nullptr");
        return REJECTED;
    }
    if (authCode == nullptr) {
        INFOSYNC_LOG(DLOG_ERROR, "userData is authcode");
        return REJECTED;
    }
    if (result != CSsoManager::AUTH_CODE_ISSUED) {
        INFOSYNC_LOG(DLOG_ERROR, "result != SSO_TRUE");
        return REJECTED;
    }
    try {
        static_cast<CAccessTokenManager*>(userData)->OnAuthCodeIssued(result, authCode);
    } catch (...) {
        return REJECTED;  // the caller is no C++
    }
    return 0;
};

}  // namespace

CAccessTokenManager::CAccessTokenManager() {
    ApiTracker tracker("CAccessTokenManager::CAccessTokenManager()", __LINE__);
}

CAccessTokenManager::~CAccessTokenManager() {
    ApiTracker tracker("CAccessTokenManager::~CAccessTokenManager()", __LINE__);
}

void CAccessTokenManager::Init(std::shared_ptr<CSsoManager> ssoManager) {
    ApiTracker tracker("void CAccessTokenManager::Init(std::shared_ptr<CSsoManager>)", __LINE__);
    m_ssoManager = std::move(ssoManager);
    const auto release = [](auto* record) {
        record->Deinit();
        delete record;
    };
    m_accessToken = std::shared_ptr<CAccessToken>(new CAccessToken, release);
    m_authCode = std::shared_ptr<CAuthCode>(new CAuthCode, release);
    m_accessToken->Init(m_ssoManager->GetLogInId());
    try {
        m_accessToken->ReadFromSecureStorage();
    } catch (const std::exception&) {
        INFOSYNC_LOG(DLOG_ERROR, "Fail to parse");
    }
    try {
        m_authCode->Init();
    } catch (const std::exception& e) {
        INFOSYNC_LOG(DLOG_ERROR, "exception : %s", e.what());
    }
}

void CAccessTokenManager::GetAccessToken(AccessTokenCallback callback) {
    ApiTracker tracker("void CAccessTokenManager::GetAccessToken(CAccessTokenManager::AccessTokenCallback)",
                       __LINE__);
    m_callback = std::move(callback);
    try {
        if (!m_accessToken || !m_accessToken->HasTokens()) {
            INFOSYNC_LOG(DLOG_WARN, "null");
            throw CInfoSyncTokenNotExistException();
        }
        if (!m_accessToken->HasUsableToken()) {
            throw CInfoSyncTokenNotExistException();
        }
        // First, since an access token cannot be refreshed once both have run out.
        if (m_accessToken->IsRefreshTokenExpired()) {
            throw CInfoSyncTokenNotExistException("Refresh Token Expired, need to issue new token",
                                                  INFOSYNC_ERROR_TOKEN_NOT_EXIST);
        }
        if (m_accessToken->IsTokenExpired()) {
            throw CInfoSyncTokenExpiredException();
        }
        CallAccessTokenCallback(Success, m_accessToken);
    } catch (const CInfoSyncTokenExpiredException& e) {
        INFOSYNC_LOG(DLOG_WARN, "%s", e.what());
        RefreshAccessToken();
    } catch (const CInfoSyncTokenNotExistException& e) {
        INFOSYNC_LOG(DLOG_WARN, "%s", e.what());
        CSsoManager::RequestAuthCode(ClientIdentity::OAUTH_CLIENT_ID, SSO_SCOPE, ON_AUTH_CODE, this);
    } catch (const std::exception& e) {
        INFOSYNC_LOG(DLOG_ERROR, "Exception : %s", e.what());
        CallAccessTokenCallback(Failure, m_accessToken);
    }
}

void CAccessTokenManager::RefreshAccessToken() {
    ApiTracker tracker("void CAccessTokenManager::RefreshAccessToken()", __LINE__);
    try {
        const std::unique_ptr<IHttpMessage> message = std::make_unique<CRefreshTokenHttpMessage>();
        message->Init();
        message->AddHttpMessageData("refresh_token", m_accessToken->GetRefreshToken());
        message->AddHttpMessageData("client_id", ClientIdentity::OAUTH_CLIENT_ID);
        message->AddHttpMessageData("auth_server_url", m_authCode->GetKapAuthDomain());
        message->AddHttpMessageData("kap_api_domain", m_authCode->GetKapApiDomain());
        message->AddHttpMessageData("auth_api", REFRESH_PATH);
        m_accessToken->ImportAccessToken(Exchange(*message, RequestType::Post));
        CallAccessTokenCallback(Success, m_accessToken);
    } catch (const std::exception& e) {
        INFOSYNC_LOG(DLOG_ERROR, "exception : %s", e.what());
        CallAccessTokenCallback(Failure, m_accessToken);
    }
}

void CAccessTokenManager::IssueAccessToken() {
    ApiTracker tracker("void CAccessTokenManager::IssueAccessToken()", __LINE__);
    try {
        const std::unique_ptr<IHttpMessage> message = std::make_unique<CAccessTokenHttpMessage>();
        message->Init();
        message->AddHttpMessageData("code", m_authCode->GetAuthCodeElement(CAuthCode::AUTH_CODE));
        message->AddHttpMessageData("client_id", ClientIdentity::OAUTH_CLIENT_ID);
        message->AddHttpMessageData("auth_server_url", m_authCode->GetKapAuthDomain());
        message->AddHttpMessageData("code_verifier",
                                    m_authCode->GetAuthCodeElement(CAuthCode::CODE_VERIFIER));
        message->AddHttpMessageData("kap_api_domain", m_authCode->GetKapApiDomain());
        message->AddHttpMessageData("auth_api", ISSUE_PATH);
        m_accessToken->ImportAccessToken(Exchange(*message, RequestType::Post));
        CallAccessTokenCallback(Success, m_accessToken);
    } catch (const std::exception& e) {
        INFOSYNC_LOG(DLOG_ERROR, "exception : %s", e.what());
        CallAccessTokenCallback(Failure, m_accessToken);
    }
}

void CAccessTokenManager::OnAuthCodeIssued(int /*result*/, const std::string& authCode) {
    ApiTracker tracker("void CAccessTokenManager::OnAuthCodeIssued(int, const string&)", __LINE__);
    INFOSYNC_LOG(DLOG_INFO, "authCode : %s ", authCode.c_str());
    try {
        if (!m_authCode) {
            throw CInfoSyncException("no user to issue a token for");
        }
        m_authCode->Reset();
        m_authCode->ImportAuthCode(authCode);
    } catch (const std::exception& e) {
        INFOSYNC_LOG(DLOG_ERROR, "exception : %s", e.what());
        CallAccessTokenCallback(Failure, m_accessToken);
        return;
    }
    IssueAccessToken();
}

void CAccessTokenManager::CallAccessTokenCallback(AccessTokenResult result,
                                                  const std::shared_ptr<CAccessToken>& token) {
    ApiTracker tracker(
        "void CAccessTokenManager::CallAccessTokenCallback(CAccessTokenManager::AccessTokenResult, const "
        "std::shared_ptr<CAccessToken>&)",
        __LINE__);
    // A copy: one that asks for a token again replaces the one that is held.
    const AccessTokenCallback callback = m_callback;
    if (callback) {
        callback(result, token);
    }
}

void CAccessTokenManager::Deinit() {
    ApiTracker tracker("void CAccessTokenManager::Deinit()", __LINE__);
    m_ssoManager.reset();
}
