#include "AuthData/CAccessToken.h"
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

TEST_F(CAccessTokenTest, ImportKeepsOtherUsersAndStampsTheTime) {
    Fake::Tv().records["InfoSyncAccessToken"] = R"({"user-0":{"access_token":"other"},"user-1":{"old":1}})";
    m_token.ReadFromSecureStorage();
    Fake::Tv().now = 5000000000;  // after 2106
    const std::string answer =
        R"({"rsp":{"result":{"access_token":"A","issued_time_in_second":5,"extra":[null,{}],"userId":"U"}}})";
    m_token.ImportAccessToken(answer);
    const std::string stored =
        R"({"user-0":{"access_token":"other"},"user-1":{"access_token":"A","extra":[null,{}],)"
        R"("issued_time_in_second":5000000000,"userId":"U"}})";
    EXPECT_EQ(Stored("InfoSyncAccessToken"), stored);
    EXPECT_THAT(Fake::Logged(DLOG_INFO),
                ::testing::ElementsAre("accessToken : " + answer, "stringToWrite " + stored));
    EXPECT_EQ(m_token.GetAccessToken(), "A");
    EXPECT_EQ(m_token.GetUserId(), "U");
}

TEST_F(CAccessTokenTest, AnswerWithoutAResultStoresTheTimeAlone) {
    m_token.ImportAccessToken(R"({"error":"invalid_grant"})");
    EXPECT_EQ(Stored("InfoSyncAccessToken"), R"({"user-1":{"issued_time_in_second":1000}})");
    EXPECT_FALSE(m_token.HasUsableToken());
    Load(R"("access_token":null)");
    EXPECT_TRUE(m_token.HasUsableToken());
}

TEST_F(CAccessTokenTest, RefusedAnswerChangesNothing) {
    Load(R"("access_token":"A")");
    const std::string before = Stored("InfoSyncAccessToken");
    const std::pair<std::string, std::string> cases[] = {{"", "token is empty"}, {"<html>", "fail to parse"}};
    for (const auto& [answer, failure] : cases) {
        SCOPED_TRACE(answer);
        EXPECT_THAT(Failure([&, &text = answer] { m_token.ImportAccessToken(text); }), HasSubstr(failure));
        EXPECT_EQ(Stored("InfoSyncAccessToken"), before);
        EXPECT_EQ(m_token.GetAccessToken(), "A");
    }
    CAccessToken nobodys;
    EXPECT_EQ(Failure([&] { nobodys.ImportAccessToken("{}"); }), "loginId is empty");
}
