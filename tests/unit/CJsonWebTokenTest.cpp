#include "AuthData/CJsonWebToken.h"
#include "ServiceTest.h"

using ::testing::ElementsAre;

using CJsonWebTokenTest = ServiceTest;

TEST_F(CJsonWebTokenTest, HoldsUntilItsSecond) {
    struct Case {
        std::string stored;
        bool valid;
        std::string verdict;
    };
    const Case cases[] = {{R"({"user-1":{"tokenExpireTimeSec":1001}})", true, "Valid Token"},
                          {R"({"user-1":{"tokenExpireTimeSec":18446744073709551615}})", true, "Valid Token"},
                          {R"({"user-1":{"tokenExpireTimeSec":1000}})", false, "Expired Token"},
                          {R"({"user-1":{"tokenExpireTimeSec":"1001"}})", false, "Expired Token"},
                          {R"({"user-1":{}})", false, "Expired Token"},
                          {R"({"user-1":{"tokenExpireTimeSec":1001,"accessToken":[]}})", false, "No token"},
                          {R"({"user-1":null})", false, "Expired Token"},
                          {R"({"user-1":7})", false, "No token"},
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
