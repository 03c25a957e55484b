#include "AuthData/CServiceActivationInfo.h"
#include "ServiceTest.h"

using ::testing::ElementsAre;

using CServiceActivationInfoTest = ServiceTest;

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
                          {R"({"user-1":"text"})", false, "No token"},
                          {R"({"user-0":{"expireTime":1000001}})", false, "No token"},
                          {R"([])", false, "No token"}};
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

TEST_F(CServiceActivationInfoTest, UnreadableStorageIsNotFatal) {
    CServiceActivationInfo info;
    info.Init(Fake::LOGIN_ID);
    Fake::Tv().records["InfoSyncServiceActivationInfo"] = "{";
    info.Init(Fake::LOGIN_ID);
    EXPECT_EQ(info.GetDviceId(), "");
    EXPECT_THAT(Fake::Logged(DLOG_ERROR), ElementsAre("Fail to parse", "Fail to parse"));
}
