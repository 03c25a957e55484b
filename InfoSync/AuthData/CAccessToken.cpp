#include "AuthData/CAccessToken.h"

#include <cstdint>
#include <ctime>
#include <limits>

#include "Util/CInfoSyncException.h"
#include "Util/JsonUtil.h"
#include "Util/Log.h"

namespace {

constexpr char ACCESS_TOKEN[] = "access_token";
constexpr char REFRESH_TOKEN[] = "refresh_token";
constexpr char USER_ID[] = "userId";
constexpr char ISSUED_TIME[] = "issued_time_in_second";

/** The sum, or the limit that it lies beyond. */
std::int64_t AddSaturating(std::int64_t a, std::int64_t b) {
    constexpr std::int64_t LOWEST = std::numeric_limits<std::int64_t>::min();
    constexpr std::int64_t HIGHEST = std::numeric_limits<std::int64_t>::max();
    if (b > 0 && a > HIGHEST - b) {
        return HIGHEST;
    }
    if (b < 0 && a < LOWEST - b) {
        return LOWEST;
    }
    return a + b;
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
    m_token = InfoSyncUtil::ParseStoredObject(text);
}

std::string CAccessToken::GetAccessToken() {
    ApiTracker tracker("std::string CAccessToken::GetAccessToken()", __LINE__);
    return InfoSyncUtil::TextMember(GetRecord(), ACCESS_TOKEN);
}

bool CAccessToken::IsTokenExpired() {
    ApiTracker tracker("bool CAccessToken::IsTokenExpired()", __LINE__);
    return IsLifetimeOver("access_token_expires_in");
}

bool CAccessToken::IsRefreshTokenExpired() {
    ApiTracker tracker("bool CAccessToken::IsRefreshTokenExpired()", __LINE__);
    return IsLifetimeOver("refresh_token_expires_in");
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
    record[ISSUED_TIME] = static_cast<Json::UInt64>(std::time(nullptr));
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
    const auto sendable = [&record](const char* name) { return InfoSyncUtil::HasTextForm(record[name]); };
    return record.isMember(ACCESS_TOKEN) && sendable(ACCESS_TOKEN) && sendable(REFRESH_TOKEN) &&
           sendable(USER_ID);
}

std::string CAccessToken::GetRefreshToken() const {
    return InfoSyncUtil::TextMember(GetRecord(), REFRESH_TOKEN);
}

std::string CAccessToken::GetUserId() const {
    return InfoSyncUtil::TextMember(GetRecord(), USER_ID);
}

const Json::Value& CAccessToken::GetRecord() const {
    return InfoSyncUtil::ObjectMember(m_token, m_loginId);
}

bool CAccessToken::IsLifetimeOver(const char* lifetimeName) const {
    const std::int64_t issued = InfoSyncUtil::ToInt64(GetRecord()[ISSUED_TIME]);
    const std::int64_t lifetime = InfoSyncUtil::ToInt64(GetRecord()[lifetimeName]);
    const auto now = static_cast<std::int64_t>(std::time(nullptr));
    INFOSYNC_LOG(DLOG_INFO, "issuedTime %lld, expiredTime %lld, currtneTime %lld",
                 static_cast<long long>(issued), static_cast<long long>(lifetime),
                 static_cast<long long>(now));
    return AddSaturating(issued, lifetime) < now;
}
