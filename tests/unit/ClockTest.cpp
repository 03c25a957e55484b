#include "AuthData/CAccessToken.h"
#include "AuthData/CJsonWebToken.h"
#include "AuthData/CServiceActivationInfo.h"
#include "ServiceTest.h"

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
