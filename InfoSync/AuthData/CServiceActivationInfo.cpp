#include "AuthData/CServiceActivationInfo.h"

#include <cstdint>
#include <exception>

#include "Util/JsonUtil.h"
#include "Util/Log.h"
#include "Util/TimeUtil.h"

namespace {

constexpr std::int64_t MILLISECONDS_PER_SECOND = 1000;

}  // namespace

void CServiceActivationInfo::Init(const std::string& loginId) {
    ApiTracker tracker("void CServiceActivationInfo::Init(const string&)", __LINE__);
    m_key = loginId;
    try {
        ReadFromSecureStorage();
    } catch (const std::exception&) {
        INFOSYNC_LOG(DLOG_ERROR, "Fail to parse");
    }
}

void CServiceActivationInfo::ReadFromSecureStorage() {
    ApiTracker tracker("void CServiceActivationInfo::ReadFromSecureStorage()", __LINE__);
    std::string text;
    InfoSyncUtil::GetData(m_alias, text);
    m_root = InfoSyncUtil::ParseStoredObject(text, InfoSyncUtil::Limits::TOKENS);
    INFOSYNC_LOG(DLOG_INFO, "%s", text.c_str());
}

bool CServiceActivationInfo::IsValid() {
    ApiTracker tracker("bool CServiceActivationInfo::IsValid()", __LINE__);
    const Json::Value& response = InfoSyncUtil::ObjectMember(m_root, m_key);
    if (!InfoSyncUtil::HasEntry(m_root, m_key) || !InfoSyncUtil::HasTextForm(response[DEVICE_ID])) {
        INFOSYNC_LOG(DLOG_WARN, "No token");
        return false;
    }
    const std::int64_t expireTime = InfoSyncUtil::ToInt64(response[EXPIRE_TIME]);
    const std::int64_t now = TimeUtil::Now() * MILLISECONDS_PER_SECOND;
    INFOSYNC_LOG(DLOG_INFO, "expired time : %lld, currtne time : %lld", static_cast<long long>(expireTime),
                 static_cast<long long>(now));
    if (now < expireTime) {
        INFOSYNC_LOG(DLOG_INFO, "valid token");
        return true;
    }
    INFOSYNC_LOG(DLOG_WARN, "Expired Token");
    return false;
}

void CServiceActivationInfo::ImportResponse(Json::Value response) {
    m_root[m_key] = std::move(response);
    WriteToSecureStorage(InfoSyncUtil::WriteJson(m_root));
}

void CServiceActivationInfo::WriteToSecureStorage(const std::string& data) {
    ApiTracker tracker("void CServiceActivationInfo::WriteToSecureStorage(const string&)", __LINE__);
    InfoSyncUtil::SaveData(m_alias, data);
}

std::string CServiceActivationInfo::GetDviceId() const {
    std::string deviceId = InfoSyncUtil::ObjectMember(m_root, m_key)[DEVICE_ID].asString();
    INFOSYNC_LOG(DLOG_INFO, "%s", deviceId.c_str());
    return deviceId;
}
