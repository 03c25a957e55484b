#include <system_info.h>

#include "GateSite.h"
#include "Rows.h"
#include "SystemCalls.h"
#include "Television.h"
#include "TvFolder.h"
#include "TvIni.h"

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

using TvIniTest = Television;

TEST_F(TvIniTest, ValueThatDoesNotFitCountsAsNotSetAndIsNamed) {
    for (const auto& [content, problem] : Rows<2>("tables.txt", "a value of tv.ini that does not fit")) {
        const TvIni ini(content, "PATH");
        EXPECT_THAT(ini.Problem(), HasSubstr("PATH, " + problem)) << content;
        EXPECT_THAT(ini.Problem(), HasSubstr("counts as not set")) << content;
        EXPECT_EQ(ini.Problems().size(), 1) << content;
        EXPECT_EQ(ini.Integer(TvKeys::SSO_STATE), 0);
        EXPECT_EQ(ini.Integer(TvKeys::MAX_SECONDS), 600);
        EXPECT_EQ(ini.Text(TvKeys::LOG_LEVEL), "I");
        EXPECT_EQ(ini.Text(TvKeys::BT_SOURCE), "lists");
        EXPECT_EQ(ini.Text(TvKeys::MODEL), std::nullopt);
        EXPECT_THAT(ini.List(TvKeys::BONDED), IsEmpty());
    }
}

TEST_F(TvIniTest, WhatATelevisionMakesNothingOfIsNamedWithItsLine) {
    for (const auto& [content, problem] : Rows<2>("tables.txt", "what a television makes nothing of")) {
        const std::vector<TvProblem> problems = TvIni(content, "PATH").Problems();
        ASSERT_EQ(problems.size(), 1) << content;
        EXPECT_THAT("line " + std::to_string(problems[0].line) + ": " + problems[0].words,
                    HasSubstr(problem));
    }
    EXPECT_EQ(TvIni("[log]\nlvl=I\n", "PATH").Problem(), "");  // the service does as if it were not there
    const TvIni damaged("[sso]\nstate=1\nno key file", "PATH");
    EXPECT_THAT(damaged.Problem(), HasSubstr("the television has nothing set"));
    EXPECT_EQ(damaged.Integer(TvKeys::SSO_STATE), 0);
    const TvIni sound(
        "# a comment\n\n[system]\nmodel=\ntizen_id=a b\n[sso]\nstate=-1\nlogin_id=\\s\n"
        "[bluetooth]\nbonded=\nknown=aa:bb:cc:00:11:22 ;AA:BB:CC:00:11:33;\nsource=bluez\n"
        "[http]\ngate_site=HTTPS://a.example:443/\nmax_seconds=1\n"
        "connect_to=::127.0.0.1:8443;a.example:443:[::1]:8443;:::\n[log]\nlevel=V\nfile=log\n",
        "PATH");
    EXPECT_THAT(sound.Problems(), IsEmpty());
    EXPECT_EQ(sound.LineOf(TvKeys::MAX_SECONDS), 15);
    EXPECT_EQ(sound.LineOf(TvKeys::CA_FILE), 0);
}

TEST_F(TvIniTest, ChangeIsSeenAtTheNextCall) {
    for (int state = 0; state < 200; ++state) {
        SetIni("[sso]\nstate=" + std::to_string(100 + state));
        ASSERT_EQ(TvFolder::ReadIni()->Integer(TvKeys::SSO_STATE), 100 + state);
    }
    std::filesystem::remove(File("tv.ini"));
    EXPECT_THAT(TvFolder::ReadIni()->Problem(), HasSubstr(File("tv.ini").string() + ": No such file"));
    std::filesystem::create_directory(File("tv.ini"));
    EXPECT_THAT(TvFolder::ReadIni()->Problem(), HasSubstr("Is a directory"));
}

TEST_F(TvIniTest, ChangeThatLeavesNoTraceInTheFilesTimesIsSeen) {
    bool isSeen = false;
    // A busy machine may leave so much time between the readings that such a change could not be.
    for (int i = 0; i < 100 && !isSeen; ++i) {
        SetIni("[sso]\nstate=0");
        auto& calls = SystemCalls::Reset();
        stat(File("tv.ini").c_str(), &calls.status);
        clock_gettime(CLOCK_REALTIME, &calls.status.st_ctim);
        calls.statusOf = File("tv.ini");
        EXPECT_EQ(TvFolder::ReadIni()->Integer(TvKeys::SSO_STATE), 0);
        SetIni("[sso]\nstate=1");
        isSeen = TvFolder::ReadIni()->Integer(TvKeys::SSO_STATE) == 1;
    }
    EXPECT_TRUE(isSeen);
}

TEST_F(TvIniTest, EmptyVariableNamesNoFolder) {
    setenv("INFOSYNC_TV_DIR", "", 1);
    EXPECT_THAT(TvFolder::Path(), ::testing::EndsWith("/infosync-tv"));
}

TEST_F(TvIniTest, ListsAreReadWithoutTheBlanksAroundTheirItems) {
    EXPECT_THAT(TvIni("[http]\nconnect_to=a:1:b:2; c ;;\n", "").List(TvKeys::CONNECT_TO),
                ElementsAre("a:1:b:2", "c"));
}

TEST_F(TvIniTest, SystemInformationTellsMissingFromEmpty) {
    SetIni("[system]\nmodel=\ntizen_id=T");
    char* value = nullptr;
    EXPECT_EQ(system_info_get_value_string(SYSTEM_INFO_KEY_MODEL, &value), 0);
    EXPECT_STREQ(value, "");
    free(value);
    EXPECT_EQ(system_info_get_platform_string("http://tizen.org/system/tizenid", &value), 0);
    EXPECT_STREQ(value, "T");
    free(value);
    EXPECT_NE(system_info_get_value_string(SYSTEM_INFO_KEY_SW_VERSION, &value), 0);
    EXPECT_EQ(value, nullptr);
}

TEST_F(TvIniTest, GateSiteIsAnHttpsOriginOrNothing) {
    EXPECT_EQ(GateSite::Read().origin, "https://auth.quorlen.example");
    SetIni("[http]\ngate_site=https://auth.example:8443/");
    EXPECT_EQ(GateSite::Read().origin, "https://auth.example:8443");
    EXPECT_EQ(GateSite::Read().host, "auth.example");
    for (const char* site : {"http://auth.example", "auth.example", "https://", "https://a.example/path",
                             "https://u@a.example", "https://a.example?q", "https://a.example#f", ""}) {
        SetIni(std::string("[http]\ngate_site=") + site);
        EXPECT_THROW(GateSite::Read(), std::runtime_error) << site;
    }
}
