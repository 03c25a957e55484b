#include <ckmc/ckmc-manager.h>
#include <vconf.h>

#include "Television.h"
#include "TvIni.h"

using ::testing::AllOf;
using ::testing::HasSubstr;

namespace {

constexpr uid_t SOMEBODY = 65534;

class OwnershipTest : public Television {
protected:
    /** The television reads as one with nothing set, for the reason. */
    void ExpectIniRefused(const std::filesystem::path& path, const std::string& reason) {
        const auto ini = TvFolder::ReadIni();
        EXPECT_EQ(ini->Integer(TvKeys::SSO_STATE), 0) << path;
        EXPECT_THAT(ini->Problem(), AllOf(HasSubstr(path.string() + reason), HasSubstr("nothing set")));
        EXPECT_THROW(TvFolder::IniPath(), std::runtime_error) << path;
    }
    /** Nothing is read from the folder and nothing written, and the log says why. */
    void ExpectStoresRefused(const std::string& reason) {
        unsigned char byte = 'x';
        ckmc_raw_buffer_s* buffer = nullptr;
        EXPECT_EQ(ckmc_get_data("alias", nullptr, &buffer), CKMC_ERROR_DB_ERROR);
        EXPECT_EQ(ckmc_save_data("other", {&byte, 1}, {nullptr, true}), CKMC_ERROR_DB_ERROR);
        EXPECT_EQ(ckmc_remove_alias("alias"), CKMC_ERROR_DB_ERROR);
        EXPECT_EQ(vconf_get_str("db/key"), nullptr);
        EXPECT_EQ(vconf_set_str("db/key", "new"), -1);
        EXPECT_EQ(Get("keys/alias"), "token");
        EXPECT_EQ(Get("settings/db/key"), "value");
        EXPECT_FALSE(std::filesystem::exists(File("keys/other")));
        EXPECT_THAT(Logged(), AllOf(HasSubstr("E/CKMC "), HasSubstr("E/VCONF "), HasSubstr(reason)));
    }
    void SetUp() override {
        Put("keys/alias", "token");
        Put("settings/db/key", "value");
    }
};

}  // namespace

TEST_F(OwnershipTest, WhatOthersMayWriteToIsRefused) {
    for (const mode_t mode : {0720U, 0702U}) {
        ASSERT_EQ(chmod(File("").c_str(), mode), 0);
        SetIni("[sso]\nstate=1");
        ExpectIniRefused(File("").parent_path(), " can be changed by others");
        ExpectStoresRefused(" can be changed by others");
        ASSERT_EQ(chmod(File("").c_str(), 0755), 0);
        SetIni("[sso]\nstate=1");
        EXPECT_EQ(TvFolder::ReadIni()->Integer(TvKeys::SSO_STATE), 1);
        ASSERT_EQ(chmod(File("tv.ini").c_str(), mode), 0);
        ExpectIniRefused(File("tv.ini"), " can be changed by others");
        ASSERT_EQ(chmod(File("tv.ini").c_str(), 0644), 0);
    }
}

TEST_F(OwnershipTest, WhatIsSomebodyElsesIsRefused) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can give files away";
    }
    SetIni("[sso]\nstate=1");
    ASSERT_EQ(chown(File("tv.ini").c_str(), SOMEBODY, SOMEBODY), 0);
    ExpectIniRefused(File("tv.ini"), " belongs to nobody, not to root");
    SetIni("[sso]\nstate=1");
    ASSERT_EQ(chown(File("tv.ini").c_str(), 0, 0), 0);
    ASSERT_EQ(chown(File("").c_str(), SOMEBODY, SOMEBODY), 0);
    ExpectIniRefused(File("").parent_path(), " belongs to nobody");
    ExpectStoresRefused(" belongs to nobody");

    // Root's are trusted by everybody.
    ASSERT_EQ(chown(File("").c_str(), 0, 0), 0);
    ASSERT_EQ(chmod(File("").c_str(), 0755), 0);
    SetIni("[sso]\nstate=1");
    ASSERT_EQ(seteuid(SOMEBODY), 0);
    EXPECT_EQ(TvFolder::ReadIni()->Integer(TvKeys::SSO_STATE), 1);
    ASSERT_EQ(seteuid(0), 0);
}

TEST_F(OwnershipTest, LinkIsAsGoodAsWhatItLeadsToAndItsOwner) {
    std::filesystem::create_directory(File("own"));
    const std::filesystem::path link = File("link");
    std::filesystem::create_symlink(File("own"), link);
    setenv("INFOSYNC_TV_DIR", link.c_str(), 1);
    EXPECT_EQ(TvFolder::Path(), link);
    ASSERT_EQ(chmod(File("own").c_str(), 0777), 0);
    EXPECT_THROW(TvFolder::Path(), std::runtime_error);
    ASSERT_EQ(chmod(File("own").c_str(), 0700), 0);
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can give files away";
    }
    ASSERT_EQ(lchown(link.c_str(), SOMEBODY, SOMEBODY), 0);
    EXPECT_THROW(TvFolder::Path(), std::runtime_error);
    setenv("INFOSYNC_TV_DIR", (link.string() + "/").c_str(), 1);
    EXPECT_THROW(TvFolder::Path(), std::runtime_error);
}
