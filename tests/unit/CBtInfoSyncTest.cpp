#include "CBtInfoSync.h"
#include "CSsoManager.h"
#include "Manager/CAccessTokenManager.h"
#include "Manager/CCloudServerManager.h"
#include "ServiceTest.h"

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

/** The service's main, under the name that it has in this program. */
int InfoSyncMain();

namespace {

constexpr char VALID_TOKEN[] =
    R"({"user-1":{"access_token":"A","issued_time_in_second":1000,"access_token_expires_in":60,)"
    R"("refresh_token_expires_in":60}})";

class CBtInfoSyncTest : public ServiceTest {
protected:
    /** A whole process. @return the log's lines of one priority */
    static std::vector<std::string> RunProcess(int priority = DLOG_ERROR) {
        EXPECT_EQ(InfoSyncMain(), 0);
        EXPECT_THAT(Fake::Calls({"bt_deinitialize"}), ElementsAre("bt_deinitialize"));
        return Fake::Logged(priority);
    }
};

}  // namespace

TEST_F(CBtInfoSyncTest, AnyOtherFlagChangesNothing) {
    for (const int flag : {0, 2, -1}) {
        Fake::Reset();
        Fake::Tv().signInStates = {0};
        Fake::Tv().intSettings[Fake::RESET_KEY] = flag;
        EXPECT_THAT(RunProcess(), Contains("<<Not Error>> Factory Reset Flag : " + std::to_string(flag)));
        EXPECT_THAT(Fake::Calls({"vconf_set_int", "vconf_set_str", "ckmc_remove_alias"}), IsEmpty());
    }
    Fake::Reset();
    Fake::Tv().signInStates = {0};
    Fake::Tv().intSettings[Fake::RESET_KEY] = 1;
    Fake::FailCall("vconf_get_int");
    EXPECT_THAT(RunProcess(), Contains("<<Not Error>> Factory Reset Flag : 0"));
}

TEST_F(CBtInfoSyncTest, SignInOnTheLastCheckStillRuns) {
    Fake::Tv().signInStates = {1, 0, 0, 0, 1};
    Fake::FailCall("sso_get_login_state");
    Fake::Tv().records["InfoSyncAccessToken"] = VALID_TOKEN;
    Fake::Answer(R"({"rcode":1})");
    EXPECT_THAT(RunProcess(), Contains("Fail to activate"));
    EXPECT_EQ(Fake::Logged(DLOG_WARN).at(3), "Not logged in, try : 4");
    EXPECT_FALSE(Fake::LoopWasLeftWaiting());
}

TEST_F(CBtInfoSyncTest, BluetoothThatDoesNotComeUpIsStillShutDown) {
    Fake::FailCall("bt_initialize");
    EXPECT_THAT(RunProcess(), ElementsAre("<<Not Error>>Start main loop", "exception : Fail to bt init",
                                          "<<Not Error>>End main loop"));
    EXPECT_THAT(Fake::Calls(), ElementsAre("bt_initialize", "bt_deinitialize", "g_main_loop_quit"));
}

TEST_F(CBtInfoSyncTest, StopTakesThePendingRetryAway) {
    Fake::Tv().signInStates = {0};
    CBtInfoSync service(std::make_unique<CAccessTokenManager>(), std::make_unique<CCloudServerManager>(),
                        std::make_unique<CSsoManager>());
    service.Init(nullptr);
    service.Start();
    EXPECT_THAT(Fake::Leftovers(), Not(IsEmpty()));
    service.Stop();
    EXPECT_THAT(Fake::Leftovers(), IsEmpty());
}
