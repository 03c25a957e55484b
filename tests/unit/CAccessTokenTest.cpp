/** How long what the cloud and the sign-in service hand out is taken for valid. */
#include "AuthData/CAccessToken.h"
#include "AuthData/CJsonWebToken.h"
#include "AuthData/CServiceActivationInfo.h"
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
    struct Case {
        std::string lifetime;
        std::int64_t now;
        bool expired;
    };
    const Case cases[] = {{"3600", 4600, false},     {"3600", 4601, true},
                          {"0", 1000, false},        {"0", 1001, true},
                          {"null", 1000, false},     {"null", 1001, true},
                          {R"("3600")", 1001, true}, {"9223372036854775807", 4601, false},
                          {"1e300", 4601, false},    {"-1e300", 4601, true}};
    for (const auto& [lifetime, now, expired] : cases) {
        SCOPED_TRACE(lifetime + " at " + std::to_string(now));
        Fake::Tv().now = now;
        Load(R"("issued_time_in_second":1000,"refresh_token_expires_in":1,"access_token_expires_in":)" +
             lifetime);
        EXPECT_EQ(m_token.IsTokenExpired(), expired);
        Load(R"("issued_time_in_second":1000,"access_token_expires_in":1,"refresh_token_expires_in":)" +
             lifetime);
        EXPECT_EQ(m_token.IsRefreshTokenExpired(), expired);
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
    struct Case {
        std::string entry;
        bool valid;
        std::string verdict;
    };
    const Case tokens[] = {{R"({"tokenExpireTimeSec":1001})", true, "Valid Token"},
                           {R"({"tokenExpireTimeSec":18446744073709551615})", true, "Valid Token"},
                           {R"({"tokenExpireTimeSec":1000})", false, "Expired Token"},
                           {R"({"tokenExpireTimeSec":1001,"accessToken":[]})", false, "No token"},
                           {"null", false, "Expired Token"}};
    const Case activations[] = {{R"({"expireTime":1000001})", true, ""},
                                {R"({"expireTime":1e300})", true, ""},
                                {R"({"expireTime":1000000})", false, "Expired Token"},
                                {R"({"expireTime":1001})", false, "Expired Token"},
                                {R"({"expireTime":1000001,"dvcId":{}})", false, "No token"}};
    for (const Case& c : tokens) {
        EXPECT_EQ(Holds<CJsonWebToken>("InfoSyncJWT", c.entry), c.valid) << c.entry;
        EXPECT_EQ(Fake::Logged(c.valid ? DLOG_INFO : DLOG_WARN).back(), c.verdict);
    }
    for (const Case& c : activations) {
        EXPECT_EQ(Holds<CServiceActivationInfo>("InfoSyncServiceActivationInfo", c.entry), c.valid)
            << c.entry;
        EXPECT_TRUE(c.valid || Fake::Logged(DLOG_WARN).back() == c.verdict) << c.entry;
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
