#include "AuthData/CAccessToken.h"

#include "Util/CInfoSyncException.h"
#include "Util/JsonUtil.h"
#include "Util/Log.h"
#include "Util/TimeUtil.h"

namespace {

/** A token's age beside its lifetime, all in seconds. */
struct Clock {
    long long issued;
    long long lifetime;
    long long now;

    /** The lifetime is over after its last second; one that ends beyond 64 bits is not over, or always was.
     */
    bool IsOver() const {
        long long end = 0;
        return __builtin_add_overflow(issued, lifetime, &end) ? lifetime < 0 : end < now;
    }
};

Clock ReadClock(const Json::Value& record, const char* lifetime) {
    return {InfoSyncUtil::ToInt64(record[CAccessToken::ISSUED_TIME]), InfoSyncUtil::ToInt64(record[lifetime]),
            TimeUtil::Now()};
}

}  // namespace

CAccessToken::CAccessToken() {
    ApiTracker tracker("CAccessToken::CAccessToken()", __LINE__);
}

void CAccessToken::Init(const std::string& loginId) {
    ApiTracker tracker("void CAccessToken::Init(const string&)", __LINE__);
    m_loginId = loginId;
}

void CAccessToken::ReadFromSecureStorage() {
    ApiTracker tracker("void CAccessToken::ReadFromSecureStorage()", __LINE__);
    std::string text;
    InfoSyncUtil::GetData(m_alias, text);
    m_token = InfoSyncUtil::ParseStoredObject(text, InfoSyncUtil::Limits::TOKENS);
}

std::string CAccessToken::GetAccessToken() {
    ApiTracker tracker("std::string CAccessToken::GetAccessToken()", __LINE__);
    return GetRecord()[ACCESS_TOKEN].asString();
}

bool CAccessToken::IsTokenExpired() {
    ApiTracker tracker("bool CAccessToken::IsTokenExpired()", __LINE__);
    const Clock clock = ReadClock(GetRecord(), ACCESS_TOKEN_LIFETIME);
    INFOSYNC_LOG(DLOG_INFO, "issuedTime %lld, expiredTime %lld, currtneTime %lld", clock.issued,
                 clock.lifetime, clock.now);
    return clock.IsOver();
}

bool CAccessToken::IsRefreshTokenExpired() {
    ApiTracker tracker("bool CAccessToken::IsRefreshTokenExpired()", __LINE__);
    const Clock clock = ReadClock(GetRecord(), REFRESH_TOKEN_LIFETIME);
    INFOSYNC_LOG(DLOG_INFO, "issuedTime %lld, expiredTime %lld, currtneTime %lld", clock.issued,
                 clock.lifetime, clock.now);
    return clock.IsOver();
}

void CAccessToken::ImportAccessToken(const std::string& token) {
    ApiTracker tracker("void CAccessToken::ImportAccessToken(const string&)", __LINE__);
    INFOSYNC_LOG(DLOG_INFO, "accessToken : %s", token.c_str());
    ParseAccessToken(token);
    WriteToSecureStorage();
}

void CAccessToken::ParseAccessToken(const std::string& token) {
    ApiTracker tracker("void CAccessToken::ParseAccessToken(const string&)", __LINE__);
    if (token.empty()) {
        throw CInfoSyncException("token is empty");
    }
    if (m_loginId.empty()) {
        throw CInfoSyncException("loginId is empty");
    }
    const Json::Value root = InfoSyncUtil::ParseAnswer(token);
    const Json::Value& result = root["rsp"]["result"];
    Json::Value record;
    for (const std::string& name : result.getMemberNames()) {
        INFOSYNC_LOG(DLOG_DEBUG, "%s", name.c_str());
        record[name] = result[name];
    }
    record[ISSUED_TIME] = static_cast<Json::UInt64>(TimeUtil::Now());
    m_token[m_loginId] = std::move(record);
}

void CAccessToken::WriteToSecureStorage() {
    ApiTracker tracker("void CAccessToken::WriteToSecureStorage()", __LINE__);
    const std::string text = InfoSyncUtil::WriteJson(m_token);
    INFOSYNC_LOG(DLOG_INFO, "stringToWrite %s", text.c_str());
    InfoSyncUtil::SaveData(m_alias, text);
}

void CAccessToken::Deinit() {
    ApiTracker tracker("void CAccessToken::Deinit()", __LINE__);
}

bool CAccessToken::HasUsableToken() const {
    const Json::Value& record = GetRecord();
    return record.isMember(ACCESS_TOKEN) && InfoSyncUtil::HasTextForm(record[ACCESS_TOKEN]);
}

std::string CAccessToken::GetRefreshToken() const {
    return GetRecord()[REFRESH_TOKEN].asString();
}

std::string CAccessToken::GetUserId() const {
    return GetRecord()[USER_ID].asString();
}

const Json::Value& CAccessToken::GetRecord() const {
    return InfoSyncUtil::ObjectMember(m_token, m_loginId);
}
