#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/time.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <filesystem>

#include "Cli/Display.h"
#include "Cli/Json.h"
#include "Cli/Text.h"
#include "Files.h"
#include "Rows.h"
#include "Television/Status.h"
#include "Television/Why.h"
#include "TvFolder.h"
#include "Util/SecurityUtil.h"
#include "Util/SettingsUtil.h"

using testing::ElementsAre;
using testing::HasSubstr;

namespace {

const std::string ANN = "ann@example.com";
const Cli::Style PLAIN(false, 80);

/** A folder in which ann is signed in and r5 and r9 are paired. */
class TelevisionTest : public testing::Test {
protected:
    TelevisionTest() {
        umask(022);  // a folder that others may write to is refused
        std::string name = testing::TempDir() + "television-XXXXXX";
        m_folder = mkdtemp(name.data());
        setenv("INFOSYNC_TV_DIR", m_folder.c_str(), 1);
        Put("tv.ini",
            "[sso]\nstate=1\nlogin_id=" + ANN +
                "\n[bluetooth]\nbonded=aa:bb:cc:00:00:05;AA:BB:CC:00:00:09\nknown=AA:BB:CC:00:00:77\n");
    }
    ~TelevisionTest() override {
        std::filesystem::remove_all(m_folder);
    }

    void Put(const std::string& name, const std::string& content) const {
        Files::Replace(m_folder + "/" + name, content);
    }
    void PutKey(const std::string& alias, const std::string& entryOfAnn) const {
        Put("keys/" + alias, R"({")" + ANN + R"(":)" + entryOfAnn + "}");
    }
    void PutRecords(const std::string& ofAnn, const std::string& ofBen) const {
        Put("keys/InfoSyncRecords", R"({")" + ANN + R"(":{"meta":{"synced_timestamp":42},"records":[)" +
                                        ofAnn + R"(]},"ben":{"records":[)" + ofBen + "]}}");
    }
    void PutList(const std::string& list) const {
        Files::Replace(*TvFolder::SettingPath(InfoSyncUtil::KEY_DEVICES), list);
    }

    std::string m_folder;
};

/** The record of an audio sink, whose id and address end with the digit. */
std::string Sink(const std::string& digit, const std::string& name) {
    return R"({"record_id":"r)" + digit + R"(","name":")" + name + R"(","address":"AA:BB:CC:00:00:0)" +
           digit + R"(","uuids":"0000110b-0000-1000-8000-00805f9b34fb"})";
}

Television::NextRun NextRun() {
    return Television::ReadStatus(std::time(nullptr)).nextRun;
}

}  // namespace

TEST_F(TelevisionTest, WhyGivesTheCauseThatTheServiceSees) {
    auto cases = Rows<4>("tables.txt", "a record of ann, whether it is listed, and why");
    const auto others = Rows<4>("tables.txt", "a record of ben, whether it is listed, and why");
    const auto records = [](const auto& rows) {
        std::vector<std::string> texts;
        std::transform(rows.begin(), rows.end(), std::back_inserter(texts), [](auto& row) { return row[0]; });
        return Cli::Join(texts, ",");
    };
    PutRecords(records(cases), records(others));
    PutList(
        R"({"r1":{"users":["ann@example.com"]},"r8":{"users":["ben"]},"r9":{"users":["ann@example.com"]},)"
        R"("r10":{"users":["ann@example.com","ben"]},"r21":{"users":["ben"]},"left":{"users":["ben"]}})");
    const auto verdicts = Television::Inquire("").devices;
    cases.insert(cases.end(), others.begin(), others.end());
    ASSERT_EQ(verdicts.size(), cases.size());
    for (std::size_t i = 0; i < verdicts.size(); ++i) {
        const auto& [record, listed, why, words] = cases[i];
        EXPECT_EQ(verdicts[i].listed, listed == "yes") << record;
        EXPECT_EQ(verdicts[i].why, why) << record;
        EXPECT_THAT(verdicts[i].words, HasSubstr(words)) << record;
    }
}

TEST_F(TelevisionTest, WhySaysWhatIsKnownOfADeviceThatHasNoRecord) {
    PutRecords(Sink("1", "Kitchen speaker 1"), "");
    PutList(R"({"left":{"users":["ben"],"name":"Old"}})");
    const std::pair<const char*, const char*> cases[] = {
        {"kitchn", "stored; nearest: kitchen"},
        {"left", "on the device list for ben, though"},
        {"AA:BB:CC:00:00:09", "The set is paired with it"},
        {"radio", "the next run brings"},
    };
    for (const auto& [device, words] : cases) {
        const auto inquiry = Television::Inquire(device);
        EXPECT_TRUE(inquiry.devices.empty());
        EXPECT_THAT(Cli::Join(inquiry.notes, "\n"), HasSubstr(words));
    }
    for (const char* device : {"KITCHEN", "aa:bb:cc:00:00:01", "r1"}) {
        EXPECT_EQ(Television::Inquire(device).devices.size(), 1U) << device;
    }
    PutList("[");
    EXPECT_FALSE(Television::Inquire("r1").devices.at(0).listed);
    EXPECT_EQ(Television::Inquire("r1").devices.at(0).why, "list unreadable");
}

TEST_F(TelevisionTest, NextRunAsksForWhatTheServiceFindsMissing) {
    const std::int64_t now = std::time(nullptr);
    const auto tokens = [now](int access, int refresh) {
        return R"({"access_token":"a","refresh_token":"b","issued_time_in_second":)" + std::to_string(now) +
               R"(,"access_token_expires_in":)" + std::to_string(access) + R"(,"refresh_token_expires_in":)" +
               std::to_string(refresh) + "}";
    };
    const std::string code =
        R"(<rsp stat="ok"><kap_auth_domain>a</kap_auth_domain><kap_api_domain>b</kap_api_domain></rsp>)";
    PutKey("InfoSyncServiceActivationInfo",
           R"({"dvcId":"d","expireTime":)" + std::to_string(now + 99) + "000}");
    PutKey("InfoSyncJWT", R"({"accessToken":"t","tokenExpireTimeSec":)" + std::to_string(now + 99) + "}");
    PutRecords("", "");
    struct Case {
        std::string tokens;
        std::string code;
        std::vector<std::string> requests;
        const char* words;
    };
    const Case cases[] = {
        {tokens(900, 900), "", {"download"}, "download (from mark 42)"},
        {tokens(900, -9), "", {"token", "download"}, "refresh token: ran out "},
        {tokens(-9, 900), code, {"refresh", "download"}, "refresh (access token: ran out "},
        {tokens(-9, 900), "no document", {}, "fails: the access token ran out, and the sign-in document"},
        {tokens(-9, 900),
         R"(<rsp stat="ok"><auth_code>c</auth_code></rsp>)",
         {},
         "or after infosync-tv factory"},
        {R"({"access_token":{}})", code, {"token", "download"}, "token (access token: damaged)"},
        {"{}", code, {"token", "download"}, "token (access token: none)"},
    };
    for (const Case& c : cases) {
        PutKey("InfoSyncAccessToken", c.tokens);
        Put("keys/InfoSyncAuthCode", c.code);
        const auto next = NextRun();
        EXPECT_EQ(next.requests, c.requests) << c.tokens;
        EXPECT_THAT(next.words, HasSubstr(c.words));
    }
    PutKey("InfoSyncAccessToken", cases[0].tokens);
    Files::Replace(*TvFolder::SettingPath(InfoSyncUtil::KEY_FACTORY_RESET_FLAG), "1");
    EXPECT_THAT(NextRun().requests, ElementsAre("token", "activation", "app", "download"));
    Files::Replace(*TvFolder::SettingPath(InfoSyncUtil::KEY_FACTORY_RESET_FLAG), "0");
    PutKey("InfoSyncJWT", "{");
    PutKey("InfoSyncServiceActivationInfo", R"({"dvcId":"d","expireTime":5})");
    EXPECT_THAT(NextRun().requests, ElementsAre("activation", "app", "download"));
    Put("tv.ini", "[sso]\nstate=0\n");
    EXPECT_THAT(NextRun().words, HasSubstr("waits 20s"));
}

TEST_F(TelevisionTest, StatusShowsWhatHoldsHowLongAndNoToken) {
    const std::int64_t now = std::time(nullptr);
    const std::string token = "top-secret-text-of-a-token";
    PutKey("InfoSyncAccessToken", R"({"access_token":")" + token + R"(","refresh_token":")" + token +
                                      R"(2","issued_time_in_second":)" + std::to_string(now - 100) +
                                      R"(,"access_token_expires_in":3700,"refresh_token_expires_in":40})");
    PutKey("InfoSyncServiceActivationInfo",
           R"({"dvcId":"d1","expireTime":)" + std::to_string(now + 172'800) + "000}");
    PutKey("InfoSyncJWT", R"({"accessToken":")" + token + R"(3","tokenExpireTimeSec":5})");
    PutRecords(Sink("5", "Phones\\u001b[31m"), "");
    const auto status = Television::ReadStatus(now);
    const std::string text = Television::StatusText(status, now, PLAIN);
    for (const char* line :
         {"  access token       valid, 1h left, top-", "  refresh token      ran out 1m ago",
          "  activation         valid, 2d left, ... (2 characters)\n", "top-... (26 characters)\n",
          "  records            1 record, mark of the last run 42\n",
          "paired               AA:BB:CC:00:00:05, AA:BB:CC:00:00:09\n",
          "known, not paired    AA:BB:CC:00:00:77\n", "last run             none yet\n"}) {
        EXPECT_THAT(text, HasSubstr(line));
    }
    EXPECT_THAT(text + Cli::JsonText(Television::ToJson(status)), testing::Not(HasSubstr(token)));
}

TEST_F(TelevisionTest, ADeviceListIsReadableUpToTheServicesOwnLimit) {
    Json::Value list;
    for (int i = 0; i < 5000; ++i) {
        list["r" + std::to_string(i)]["users"].append(ANN);
    }
    PutList(Cli::CompactJson(list));
    EXPECT_EQ(Television::ReadStatus(0).list.devices.size(), 5000U);
}

TEST_F(TelevisionTest, WhatIsWrongIsToldWithItsPlace) {
    const std::int64_t now = std::time(nullptr);
    EXPECT_TRUE(Television::FindProblems(now).empty());
    Put("tv.ini", "[http]\nca_file=ca.pem\n[log]\nlevel=X\nfile=/nowhere/log\n");
    Put("ca.pem", "no certificate");
    Put("keys/InfoSyncJWT", "{}");
    std::filesystem::permissions(m_folder + "/keys", std::filesystem::perms{0777});
    Put("settings/x", "");
    const timeval later[2] = {{now + 9000, 0}, {now + 9000, 0}};
    ASSERT_EQ(utimes((m_folder + "/settings").c_str(), later), 0);
    std::vector<std::string> found;
    for (const auto& problem : Television::FindProblems(now)) {
        found.push_back(problem.subject + ": " + problem.words);
    }
    EXPECT_THAT(found,
                ElementsAre(HasSubstr("tv.ini: line 4: [log] level: “X” is none of"),
                            HasSubstr("tv.ini: line 5: [log] file: “/nowhere/log” is no file"),
                            HasSubstr("chmod go-w"), HasSubstr("certificates: "), HasSubstr("clock: ")));
}
