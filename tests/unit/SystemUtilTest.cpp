#include "HttpMessage/CHttpMessage.h"
#include "ServiceTest.h"
#include "Util/BluetoothUtil.h"
#include "Util/CommonUtil.h"
#include "Util/SystemUtil.h"

using ::testing::ElementsAre;
using ::testing::Pair;

using SystemUtilTest = ServiceTest;

TEST_F(SystemUtilTest, MissingValueIsAFailureAndAnEmptyOneIsNot) {
    Fake::Tv().systemInfo = {{0, ""}, {128, "B"}};
    Fake::Tv().platformInfo = {{"http://example.org/other", "x"}};
    CHttpMessage message;
    EXPECT_EQ(Failure([&message] { SystemUtil::AddClientIdentity(message); }), "fail to get Tizen version ");
    EXPECT_THAT(message.GetHttpMessageData(),
                ElementsAre(Pair("build", "B"), Pair("client", "bt-orbmanager=1.0.0"), Pair("model", "")));
    EXPECT_EQ(Failure(&SystemUtil::GetTizenID), "fail to get Tizen version ");
}

TEST_F(SystemUtilTest, OnlyTheAdaptersWordMakesADeviceBonded) {
    Fake::Tv().bonds = {{"AA", true}, {"BB", false}, {"CC", true}};
    EXPECT_TRUE(BluetoothUtil::IsBondedDevice("AA"));
    EXPECT_FALSE(BluetoothUtil::IsBondedDevice("BB"));
    Fake::FailCall("bt_adapter_get_bonded_device_info");
    EXPECT_FALSE(BluetoothUtil::IsBondedDevice("CC"));
    EXPECT_FALSE(BluetoothUtil::IsBondedDevice("unknown"));
    EXPECT_THAT(Fake::Logged(DLOG_INFO), ElementsAre("AA - Bonded : 1", "BB - Bonded : 0"));
    EXPECT_THAT(Fake::Logged(DLOG_WARN), ElementsAre("fail to get info", "fail to get info"));
}

TEST_F(SystemUtilTest, SplitKeepsBlanksAndEmptyPiecesButNoTrailingOne) {
    EXPECT_THAT(CommonUtil::SplitString("a, b,,c,"), ElementsAre("a", " b", "", "c"));
    EXPECT_THAT(CommonUtil::SplitString(","), ElementsAre(""));
    EXPECT_THAT(CommonUtil::SplitString(""), ElementsAre());
    EXPECT_THAT(Fake::Logged(DLOG_INFO), ElementsAre("input : a, b,,c,", "input : ,", "input : "));
}
