/** How long what the cloud and the sign-in service hand out is taken for valid. */
#include "AuthData/CAccessToken.h"
#include "AuthData/CJsonWebToken.h"
#include "AuthData/CServiceActivationInfo.h"
#include "ServiceTest.h"

using ::testing::ElementsAre;

using CJsonWebTokenTest = ServiceTest;
using CServiceActivationInfoTest = ServiceTest;

TEST_F(CJsonWebTokenTest, HoldsUntilItsSecond) {
    struct Case {
        std::string stored;
        bool valid;
        std::string verdict;
    };
    const Case cases[] = {{R"({"user-1":{"tokenExpireTimeSec":1001}})", true, "Valid Token"},
                          {R"({"user-1":{"tokenExpireTimeSec":18446744073709551615}})", true, "Valid Token"},
                          {R"({"user-1":{"tokenExpireTimeSec":1000}})", false, "Expired Token"},
                          {R"({"user-1":{}})", false, "Expired Token"},
                          {R"({"user-1":{"tokenExpireTimeSec":1001,"accessToken":[]}})", false, "No token"},
                          {R"({"user-1":null})", false, "Expired Token"},
                          {R"({"user-0":{"tokenExpireTimeSec":1001}})", false, "No token"}};
    for (const auto& [stored, valid, verdict] : cases) {
        SCOPED_TRACE(stored);
        Fake::Reset();
        Fake::Tv().records["InfoSyncJWT"] = stored;
        CJsonWebToken token;
        token.Init(Fake::LOGIN_ID);
        EXPECT_EQ(token.IsValid(), valid);
        EXPECT_EQ(Fake::Logged(valid ? DLOG_INFO : DLOG_WARN).back(), verdict);
    }
}

TEST_F(CJsonWebTokenTest, ReadIsNotLoggedAndItsFailureIsNotFatal) {
    CJsonWebToken token;
    token.Init(Fake::LOGIN_ID);
    EXPECT_THAT(Fake::Logged(DLOG_ERROR), ElementsAre("Fail to parse"));
    EXPECT_EQ(token.GetToken(), "");
    Fake::Tv().records["InfoSyncJWT"] = R"({"user-1":{"accessToken":"J","tokenExpireTimeSec":1000}})";
    token.Init(Fake::LOGIN_ID);
    EXPECT_EQ(token.GetToken(), "J");
    token.IsValid();
    EXPECT_THAT(Fake::Logged(DLOG_INFO), ElementsAre("expired time : 1000, currtne time : 1000"));
}

TEST_F(CServiceActivationInfoTest, HoldsUntilItsMillisecond) {
    struct Case {
        std::string stored;
        bool valid;
        std::string warning;
    };
    const Case cases[] = {{R"({"user-1":{"expireTime":1000001}})", true, ""},
                          {R"({"user-1":{"expireTime":1e300}})", true, ""},
                          {R"({"user-1":{"expireTime":1000000}})", false, "Expired Token"},
                          {R"({"user-1":{"expireTime":1001}})", false, "Expired Token"},
                          {R"({"user-1":{}})", false, "Expired Token"},
                          {R"({"user-1":{"expireTime":1000001,"dvcId":{}}})", false, "No token"},
                          {R"({"user-0":{"expireTime":1000001}})", false, "No token"}};
    for (const auto& [stored, valid, warning] : cases) {
        SCOPED_TRACE(stored);
        Fake::Reset();
        Fake::Tv().records["InfoSyncServiceActivationInfo"] = stored;
        CServiceActivationInfo info;
        info.Init(Fake::LOGIN_ID);
        EXPECT_EQ(info.IsValid(), valid);
        EXPECT_EQ(Fake::Logged(DLOG_WARN), valid ? std::vector<std::string>() : std::vector{warning});
    }
}

/** Issued in the last minutes that a signed time of 32 bits can hold, and over after them. */
TEST(ClockTest, TokensRunOutAcrossJanuary2038) {
    constexpr std::int64_t LAST = 2147487200;
    const std::pair<std::int64_t, bool> cases[] = {
        {2147483647, true}, {2147483648, true}, {LAST - 1, true}, {LAST + 1, false}, {4102444800, false}};
    for (const auto& [now, valid] : cases) {
        SCOPED_TRACE(now);
        Fake::Reset();
        Fake::Tv().now = now;
        Fake::Tv().records["InfoSyncAccessToken"] =
            R"({"user-1":{"issued_time_in_second":2147483600,"access_token_expires_in":3600}})";
        Fake::Tv().records["InfoSyncJWT"] = R"({"user-1":{"tokenExpireTimeSec":2147487200}})";
        Fake::Tv().records["InfoSyncServiceActivationInfo"] =
            R"({"user-1":{"expireTime":2147487200000,"dvcId":"d"}})";
        CAccessToken access;
        access.Init(Fake::LOGIN_ID);
        access.ReadFromSecureStorage();
        EXPECT_EQ(access.IsTokenExpired(), !valid);
        CJsonWebToken application;
        application.Init(Fake::LOGIN_ID);
        EXPECT_EQ(application.IsValid(), valid);
        CServiceActivationInfo activation;
        activation.Init(Fake::LOGIN_ID);
        EXPECT_EQ(activation.IsValid(), valid);
    }
}
