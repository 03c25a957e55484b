#include "AuthData/CJsonWebToken.h"

#include <cstdint>
#include <exception>

#include "Util/JsonUtil.h"
#include "Util/Log.h"
#include "Util/TimeUtil.h"

void CJsonWebToken::Init(const std::string& loginId) {
    ApiTracker tracker("void CJsonWebToken::Init(const string&)", __LINE__);
    m_key = loginId;
    try {
        ReadFromSecureStorage();
    } catch (const std::exception&) {
        INFOSYNC_LOG(DLOG_ERROR, "Fail to parse");
    }
}

void CJsonWebToken::ReadFromSecureStorage() {
    ApiTracker tracker("void CJsonWebToken::ReadFromSecureStorage()", __LINE__);
    std::string text;
    InfoSyncUtil::GetData(m_alias, text);
    m_root = InfoSyncUtil::ParseStoredObject(text, InfoSyncUtil::Limits::TOKENS);
}

bool CJsonWebToken::IsValid() {
    ApiTracker tracker("bool CJsonWebToken::IsValid()", __LINE__);
    const Json::Value& response = InfoSyncUtil::ObjectMember(m_root, m_key);
    if (!InfoSyncUtil::HasEntry(m_root, m_key) || !InfoSyncUtil::HasTextForm(response[TOKEN])) {
        INFOSYNC_LOG(DLOG_WARN, "No token");
        return false;
    }
    const std::int64_t expireTime = InfoSyncUtil::ToInt64(response[EXPIRE_TIME]);
    const std::int64_t now = TimeUtil::Now();
    INFOSYNC_LOG(DLOG_INFO, "expired time : %lld, currtne time : %lld", static_cast<long long>(expireTime),
                 static_cast<long long>(now));
    if (now < expireTime) {
        INFOSYNC_LOG(DLOG_INFO, "Valid Token");
        return true;
    }
    INFOSYNC_LOG(DLOG_WARN, "Expired Token");
    return false;
}

void CJsonWebToken::ImportResponse(Json::Value response) {
    m_root[m_key] = std::move(response);
    WriteJWTToSecureStorage(InfoSyncUtil::WriteJson(m_root));
}

void CJsonWebToken::WriteJWTToSecureStorage(const std::string& data) {
    ApiTracker tracker("void CJsonWebToken::WriteJWTToSecureStorage(const string&)", __LINE__);
    InfoSyncUtil::SaveData(m_alias, data);
}

std::string CJsonWebToken::GetToken() const {
    return InfoSyncUtil::ObjectMember(m_root, m_key)[TOKEN].asString();
}

void CJsonWebToken::Deinit() {
    ApiTracker tracker("void CJsonWebToken::Deinit()", __LINE__);
}
