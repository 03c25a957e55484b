/** How long what the cloud and the sign-in service hand out is taken for valid. */
#include "AuthData/CAccessToken.h"
#include "AuthData/CJsonWebToken.h"
#include "AuthData/CServiceActivationInfo.h"
#include "Rows.h"
#include "ServiceTest.h"

using ::testing::Contains;
using ::testing::HasSubstr;

namespace {

class CAccessTokenTest : public ServiceTest {
protected:
    CAccessTokenTest() {
        m_token.Init(Fake::LOGIN_ID);
    }

    /** Loads tokens whose user entry has these members. */
    void Load(const std::string& members) {
        Fake::Tv().records["InfoSyncAccessToken"] = "{\"user-1\":{" + members + "}}";
        m_token.ReadFromSecureStorage();
    }

    /** Whether the document holds that has this entry of the user. */
    template <typename Document>
    static bool Holds(const std::string& alias, const std::string& entry) {
        Fake::Tv().records[alias] = R"({"user-1":)" + entry + "}";
        Document document;
        document.Init(Fake::LOGIN_ID);
        return document.IsValid();
    }

    CAccessToken m_token;
};

}  // namespace

TEST_F(CAccessTokenTest, LastSecondOfALifetimeStillCounts) {
    for (const auto& [lifetime, now, expired] :
         Rows<3>("tables.txt", "a lifetime from 1000 on, a time, and whether it is over")) {
        SCOPED_TRACE(lifetime);
        SCOPED_TRACE(now);
        Fake::Tv().now = std::stol(now);
        Load(R"("issued_time_in_second":1000,"refresh_token_expires_in":1,"access_token_expires_in":)" +
             lifetime);
        EXPECT_EQ(m_token.IsTokenExpired(), expired == "yes");
        Load(R"("issued_time_in_second":1000,"access_token_expires_in":1,"refresh_token_expires_in":)" +
             lifetime);
        EXPECT_EQ(m_token.IsRefreshTokenExpired(), expired == "yes");
    }
    EXPECT_THAT(Fake::Logged(DLOG_INFO), Contains("issuedTime 1000, expiredTime 3600, currtneTime 4601"));
    Load(R"("issued_time_in_second":-1e300,"access_token_expires_in":-1)");
    EXPECT_TRUE(m_token.IsTokenExpired()) << "it was over before the time begins";
}

TEST_F(CAccessTokenTest, RefusedAnswerChangesNothing) {
    Load(R"("access_token":"A")");
    const std::string before = Stored("InfoSyncAccessToken");
    const std::pair<std::string, std::string> cases[] = {{"", "token is empty"}, {"<html>", "fail to parse"}};
    for (const auto& [answer, failure] : cases) {
        EXPECT_THAT(Failure([&, &text = answer] { m_token.ImportAccessToken(text); }), HasSubstr(failure));
        EXPECT_EQ(Stored("InfoSyncAccessToken"), before);
        EXPECT_EQ(m_token.GetAccessToken(), "A");
    }
    CAccessToken nobodys;
    EXPECT_EQ(Failure([&] { nobodys.ImportAccessToken("{}"); }), "loginId is empty");
}

/** The cloud's tokens, as they are stored for one user, and whether they hold at 1000. */
TEST_F(CAccessTokenTest, TokensOfTheCloudHoldUntilTheirSecondOrMillisecond) {
    for (const auto& [entry, verdict] :
         Rows<2>("tables.txt", "an application token and what is said of it")) {
        const bool isValid = verdict == "Valid Token";
        EXPECT_EQ(Holds<CJsonWebToken>("InfoSyncJWT", entry), isValid) << entry;
        EXPECT_EQ(Fake::Logged(isValid ? DLOG_INFO : DLOG_WARN).back(), verdict);
    }
    for (const auto& [entry, verdict] : Rows<2>("tables.txt", "an activation and what is said of it")) {
        EXPECT_EQ(Holds<CServiceActivationInfo>("InfoSyncServiceActivationInfo", entry), verdict.empty())
            << entry;
        EXPECT_TRUE(verdict.empty() || Fake::Logged(DLOG_WARN).back() == verdict) << entry;
    }
}

/** Issued in the last minutes that a signed time of 32 bits can hold, and over after them. */
TEST_F(CAccessTokenTest, TokensRunOutAcrossJanuary2038) {
    constexpr std::int64_t LAST = 2147487200;
    for (const auto now :
         std::initializer_list<std::int64_t>{2147483647, 2147483648, LAST - 1, LAST + 1, 4102444800}) {
        SCOPED_TRACE(now);
        Fake::Tv().now = now;
        Load(R"("issued_time_in_second":2147483600,"access_token_expires_in":3600)");
        EXPECT_EQ(m_token.IsTokenExpired(), now > LAST);
        EXPECT_EQ(Holds<CJsonWebToken>("InfoSyncJWT", R"({"tokenExpireTimeSec":2147487200})"), now < LAST);
        EXPECT_EQ(Holds<CServiceActivationInfo>("InfoSyncServiceActivationInfo",
                                                R"({"expireTime":2147487200000,"dvcId":"d"})"),
                  now < LAST);
    }
}
