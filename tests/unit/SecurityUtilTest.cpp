#include <ckmc/ckmc-manager.h>

#include "ServiceTest.h"
#include "Util/SecurityUtil.h"

using ::testing::ElementsAre;

using SecurityUtilTest = ServiceTest;

TEST_F(SecurityUtilTest, FailedReadSaysWhyAndLeavesTheTextAlone) {
    struct Case {
        std::optional<std::string> record;
        int error;
        std::string failure;
    };
    for (const Case& c : {Case{"text", CKMC_ERROR_DB_ERROR, "CKMC error, fail to get data"},
                          Case{"text", CKMC_ERROR_NONE, "CKMC error, buffer is null"}}) {
        SCOPED_TRACE(c.failure);
        Fake::Tv().records["alias"] = c.record;
        Fake::FailCall("ckmc_get_data", 1, c.error);
        std::string data = "before";
        EXPECT_EQ(Failure([&data] { InfoSyncUtil::GetData("alias", data); }), c.failure);
        EXPECT_EQ(data, "before");
    }
    std::string data = "before";
    Fake::Tv().records["alias"] = std::nullopt;
    EXPECT_EQ(Failure([&data] { InfoSyncUtil::GetData("alias", data); }), "CKMC error,data is null");
    EXPECT_EQ(Failure([&data] { InfoSyncUtil::GetData("other", data); }), "CKMC error, fail to get data");
    EXPECT_EQ(data, "before");
}

TEST_F(SecurityUtilTest, ReadEndsAtTheBuffersEndOrItsFirstNul) {
    using std::string_literals::operator""s;
    for (const auto& [record, text] :
         {std::pair("ab"s, "ab"s), std::pair("a\0b"s, "a"s), std::pair(""s, ""s)}) {
        Fake::Tv().records["alias"] = record;
        std::string data = "before";
        InfoSyncUtil::GetData("alias", data);
        EXPECT_EQ(data, text);
    }
}

TEST_F(SecurityUtilTest, FailedSaveIsNotMistakenForASave) {
    const auto save = [] { InfoSyncUtil::SaveData("alias", "new"); };
    Fake::Tv().records["alias"] = "old";
    Fake::FailCall("ckmc_remove_alias", 1, CKMC_ERROR_DB_ERROR);
    EXPECT_EQ(Failure(save), "CKMC error, fail to remove previous data");
    EXPECT_EQ(Stored("alias"), "old");
    Fake::FailCall("ckmc_save_data");
    EXPECT_EQ(Failure(save), "CKMC error, fail to write new data");
    EXPECT_EQ(Stored("alias"), "nothing stored");
    EXPECT_THAT(Fake::Logged(DLOG_ERROR), ElementsAre("CKMC error, fail to remove previous data ",
                                                      "CKMC error, fail to write new data "));
}

TEST_F(SecurityUtilTest, CloudDeviceIdIsTheOneTheCloudKnows) {
    // Made with Python's hashlib.pbkdf2_hmac("sha1", id, b"MERVAL", 30, 128)[:16].
    EXPECT_EQ(InfoSyncUtil::GetCdid("tizen-id"), "C6FA19193E8F9E97CA22130E2EF6A014");
    EXPECT_EQ(InfoSyncUtil::GetCdid(""), "9F9F6C97BDAD2C4C6C229117FB808EDF");
}
