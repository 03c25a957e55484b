#include <ckmc/ckmc-manager.h>
#include <sys/stat.h>
#include <vconf.h>

#include <functional>

#include "Files.h"
#include "Rows.h"
#include "SystemCalls.h"
#include "Television.h"

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using namespace std::string_literals;

using StoreTest = Television;

namespace {

int Save(const char* alias, std::string content) {
    ckmc_raw_buffer_s buffer = {reinterpret_cast<unsigned char*>(content.data()), content.size()};
    return ckmc_save_data(alias, buffer, {nullptr, true});
}

std::string Read(const char* alias) {
    ckmc_raw_buffer_s* buffer = nullptr;
    EXPECT_EQ(ckmc_get_data(alias, nullptr, &buffer), CKMC_ERROR_NONE);
    std::string content(reinterpret_cast<const char*>(buffer->data), buffer->size);
    ckmc_buffer_free(buffer);
    return content;
}

}  // namespace

TEST_F(StoreTest, RecordsKeepEveryByteAndAreTheUsersAlone) {
    std::filesystem::create_directory(File("keys"));
    for (const std::string& content : {"text"s, ""s, "a\0b\n\xFF"s, std::string(1 << 20, 'x')}) {
        ASSERT_EQ(Save("alias", content), CKMC_ERROR_NONE);
        EXPECT_EQ(Get("keys/alias"), content);
        EXPECT_EQ(Read("alias"), content);
        EXPECT_EQ(ModeOf("keys"), 0700U);
        EXPECT_EQ(ModeOf("keys/alias"), 0600U);
        EXPECT_EQ(ckmc_remove_alias("alias"), CKMC_ERROR_NONE);
    }
    EXPECT_TRUE(std::filesystem::is_empty(File("keys")));
}

TEST_F(StoreTest, RecordsAreNeverReplacedAndMissingOnesAreNoFault) {
    ckmc_raw_buffer_s* buffer = nullptr;
    EXPECT_EQ(ckmc_get_data("alias", nullptr, &buffer), CKMC_ERROR_DB_ALIAS_UNKNOWN);
    EXPECT_EQ(ckmc_remove_alias("alias"), CKMC_ERROR_DB_ALIAS_UNKNOWN);
    EXPECT_THAT(Logged(), IsEmpty());
    Save("alias", "first");
    EXPECT_EQ(Save("alias", "second"), CKMC_ERROR_DB_ALIAS_EXISTS);
    EXPECT_EQ(Read("alias"), "first");
    EXPECT_EQ(buffer, nullptr);
    std::filesystem::create_symlink("nowhere", File("keys/link"));
    EXPECT_EQ(Save("link", "x"), CKMC_ERROR_DB_ALIAS_EXISTS);
}

TEST_F(StoreTest, WhatAFileCannotKeepIsRefused) {
    unsigned char byte = 'x';
    char password[] = "password";
    const std::pair<ckmc_raw_buffer_s, ckmc_policy_s> cases[] = {
        {{&byte, 1}, {password, true}}, {{&byte, 1}, {nullptr, false}}, {{nullptr, 1}, {nullptr, true}}};
    for (const auto& [buffer, policy] : cases) {
        EXPECT_EQ(ckmc_save_data("alias", buffer, policy), CKMC_ERROR_INVALID_PARAMETER);
    }
    EXPECT_FALSE(std::filesystem::exists(File("keys")));
    Save("alias", "x");
    ckmc_raw_buffer_s* buffer = nullptr;
    EXPECT_EQ(ckmc_get_data("alias", password, &buffer), CKMC_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(ckmc_get_data("alias", nullptr, nullptr), CKMC_ERROR_INVALID_PARAMETER);
}

TEST_F(StoreTest, RemovalTakesWhatKilledWritesLeft) {
    Put("keys/alias.aB3x9Z", "half of a token");
    Put("keys/alias.aB3x9", "another's");
    Put("keys/aliases.aB3x9Z", "another's");
    Put("keys/aliasXaB3x9Z", "another's");
    std::filesystem::create_directory(File("keys/alias.folder"));
    EXPECT_EQ(ckmc_remove_alias("alias"), CKMC_ERROR_DB_ALIAS_UNKNOWN);
    EXPECT_FALSE(std::filesystem::exists(File("keys/alias.aB3x9Z")));
    EXPECT_TRUE(std::filesystem::exists(File("keys/alias.aB3x9")));
    EXPECT_TRUE(std::filesystem::exists(File("keys/aliases.aB3x9Z")));
    EXPECT_TRUE(std::filesystem::exists(File("keys/aliasXaB3x9Z")));
}

TEST_F(StoreTest, WhatWasStoredOrRemovedSurvivesAPowerCut) {
    const auto synced = [](const std::function<void()>& change) {
        const SystemCalls::State& calls = SystemCalls::Reset();
        change();
        return std::pair(calls.filesSynced, calls.foldersSynced);
    };
    for (const char* text : {"first", "second"}) {
        EXPECT_EQ(synced([&] { vconf_set_str("db/owner/devices", text); }), std::pair(1, 1)) << text;
    }
    Save("alias", "token");
    EXPECT_EQ(synced([] { ckmc_remove_alias("alias"); }), std::pair(0, 1)) << "the file";
    Put("keys/alias.aB3x9Z", "half of a token");
    EXPECT_EQ(synced([] { ckmc_remove_alias("alias"); }), std::pair(0, 1)) << "what a write left";
}

TEST_F(StoreTest, RemovalThatFailsHasNotHappened) {
    using std::filesystem::perms;
    Put("keys/alias", "token");
    // A folder that can be changed but not opened. Root can open any, and so looks at it as another user.
    std::filesystem::permissions(
        File("keys"), perms::owner_write | perms::owner_exec | perms::others_write | perms::others_exec);
    std::filesystem::permissions(File(""), perms::owner_all | perms::others_exec);
    const uid_t user = geteuid();
    ASSERT_TRUE(user != 0 || seteuid(65534) == 0);
    EXPECT_EQ(ckmc_remove_alias("alias"), CKMC_ERROR_DB_ERROR);
    ASSERT_EQ(seteuid(user), 0);
    EXPECT_TRUE(std::filesystem::exists(File("keys/alias")));
    std::filesystem::permissions(File("keys"), perms::owner_all);
}

TEST_F(StoreTest, AliasesLeadNowhereElse) {
    for (const char* alias : {"", ".", "..", "../tv.ini", "a/b", "/etc/passwd"}) {
        ckmc_raw_buffer_s* buffer = nullptr;
        EXPECT_EQ(Save(alias, "x"), CKMC_ERROR_INVALID_PARAMETER) << alias;
        EXPECT_EQ(ckmc_get_data(alias, nullptr, &buffer), CKMC_ERROR_INVALID_PARAMETER) << alias;
        EXPECT_EQ(ckmc_remove_alias(alias), CKMC_ERROR_INVALID_PARAMETER) << alias;
    }
}

TEST_F(StoreTest, FailureOfTheStoreIsAnErrorWithItsReason) {
    std::filesystem::create_directories(File("keys/folder"));
    ASSERT_EQ(mkfifo(File("keys/pipe").c_str(), 0600), 0);
    ckmc_raw_buffer_s* buffer = nullptr;
    for (const char* alias : {"folder", "pipe"}) {
        EXPECT_EQ(ckmc_get_data(alias, nullptr, &buffer), CKMC_ERROR_DB_ERROR) << alias;
        EXPECT_THAT(Logged(), HasSubstr("E/CKMC    (PID): " + File("keys").string() + "/" + alias + ": "));
    }
    EXPECT_EQ(ckmc_remove_alias("folder"), CKMC_ERROR_DB_ERROR);
    EXPECT_THROW(Files::ReadIfThere(File("keys/folder")), std::system_error);
    Put("keys/large", "");
    std::filesystem::resize_file(File("keys/large"), (256U << 20U) + 1);
    EXPECT_EQ(ckmc_get_data("large", nullptr, &buffer), CKMC_ERROR_DB_ERROR);
    EXPECT_THAT(Logged(), HasSubstr("File too large"));
    const std::string longName(250, 'x');  // not too long itself, but for the name that a write begins with
    EXPECT_EQ(Save(longName.c_str(), "x"), CKMC_ERROR_DB_ERROR);
    EXPECT_THAT(Logged(), HasSubstr("/" + longName + ": File name too long\n"));
    std::filesystem::remove_all(File("keys"));
    Put("keys", "a file where the folder should be");
    EXPECT_EQ(Save("alias", "x"), CKMC_ERROR_DB_ERROR);
    EXPECT_THAT(Logged(), HasSubstr("Not a directory"));
}

TEST_F(StoreTest, IntegersAreDecimalTextAndNothingElse) {
    ASSERT_EQ(vconf_set_int("db/owner/flag", -7), 0);
    EXPECT_EQ(Get("settings/db/owner/flag"), "-7");
    EXPECT_EQ(ModeOf("settings/db/owner"), 0700U);
    for (const auto& [text, number] :
         Rows<2>("tables.txt", "an integer setting, and none where it is refused")) {
        Put("settings/db/owner/flag", text);
        int value = 42;
        EXPECT_EQ(vconf_get_int("db/owner/flag", &value), number == "none" ? -1 : 0) << text;
        EXPECT_EQ(std::to_string(value), number == "none" ? "42" : number) << text;
    }
}

TEST_F(StoreTest, SettingsAreReplacedWholeAndReadUpToANul) {
    EXPECT_EQ(vconf_get_str("db/owner/devices"), nullptr);
    EXPECT_THAT(Logged(), IsEmpty());
    for (const char* text : {"a longer text", "short", ""}) {
        ASSERT_EQ(vconf_set_str("db/owner/devices", text), 0);
        EXPECT_EQ(Get("settings/db/owner/devices"), text);
    }
    Put("settings/db/owner/devices", "up to\0here"s);
    char* text = vconf_get_str("db/owner/devices");
    EXPECT_STREQ(text, "up to");
    free(text);
    // What is no file stays what it is.
    ASSERT_EQ(mkfifo(File("settings/db/owner/pipe").c_str(), 0600), 0);
    EXPECT_EQ(vconf_set_str("db/owner/pipe", "x"), -1);
    EXPECT_TRUE(std::filesystem::is_fifo(File("settings/db/owner/pipe")));
}

TEST_F(StoreTest, SettingsKeysLeadNowhereElse) {
    for (const char* key : {"", "/", "/etc/passwd", "..", "db/../../tv.ini", "db//a", "db/", "db/."}) {
        EXPECT_EQ(vconf_set_str(key, "x"), -1) << key;
        EXPECT_EQ(vconf_get_str(key), nullptr) << key;
    }
    EXPECT_FALSE(std::filesystem::exists(File("settings")));
}

TEST_F(StoreTest, AnyChangeMakesAnotherVersionOfAFile) {
    Put("file", "text");
    struct stat status = {};
    ASSERT_EQ(stat(File("file").c_str(), &status), 0);
    const auto versionWith = [&](const struct stat& seen, const char* name = "file") {
        SystemCalls::Reset() = {SystemCalls::Writes::WHOLE, File(name).string(), seen};
        return Files::Version(File(name).string());
    };
    const auto before = versionWith(status);
    EXPECT_TRUE(before == versionWith(status));
    EXPECT_FALSE(before == versionWith(status, "link"));
    const std::function<void(struct stat&)> changes[] = {
        [](struct stat& s) { ++s.st_dev; },          [](struct stat& s) { ++s.st_ino; },
        [](struct stat& s) { ++s.st_size; },         [](struct stat& s) { ++s.st_mode; },
        [](struct stat& s) { ++s.st_mtim.tv_nsec; }, [](struct stat& s) { ++s.st_mtim.tv_sec; },
        [](struct stat& s) { ++s.st_ctim.tv_nsec; }, [](struct stat& s) { ++s.st_ctim.tv_sec; }};
    for (const auto& change : changes) {
        struct stat changed = status;
        change(changed);
        EXPECT_FALSE(before == versionWith(changed)) << "change " << &change - changes;
    }
    SystemCalls::Reset();
    const Files::Version noFolder(File("file/none"));
    std::filesystem::remove(File("file"));
    EXPECT_FALSE(noFolder == Files::Version(File("file/none")));
}
