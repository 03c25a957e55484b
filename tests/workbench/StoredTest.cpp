#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>
#include <functional>

#include "Files.h"
#include "Television/Stored.h"
#include "TvFolder.h"
#include "Util/SecurityUtil.h"
#include "Util/SettingsUtil.h"

using Condition = Television::Document::Condition;
using namespace std::string_literals;

TEST(Stored, DamagedDocumentsAreToldAndNothingElseIs) {
    umask(022);  // a folder that others may write to is refused
    std::string folder = testing::TempDir() + "stored-XXXXXX";
    ASSERT_NE(mkdtemp(folder.data()), nullptr);
    setenv("INFOSYNC_TV_DIR", folder.c_str(), 1);

    std::vector<std::pair<std::string, std::function<Television::Document()>>> documents = {
        {*TvFolder::SettingPath(InfoSyncUtil::KEY_DEVICES),
         [] { return Television::ReadSetting(InfoSyncUtil::KEY_DEVICES); }}};
    for (const char* alias : {InfoSyncUtil::ALIAS_ACCESS_TOKEN, InfoSyncUtil::ALIAS_SERVICE_ACTIVATION_INFO,
                              InfoSyncUtil::ALIAS_JWT, InfoSyncUtil::ALIAS_RECORDS}) {
        documents.emplace_back(*TvFolder::KeyPath(alias), [alias] { return Television::ReadKey(alias); });
    }
    const std::string damages[] = {R"({"a":1)", "[]", "7", "\xFF\xFE\0"s, std::string(100'000, '['),
                                   "a folder"};
    for (const auto& [path, read] : documents) {
        EXPECT_EQ(read().condition, Condition::MISSING) << path;
        for (const std::string& damage : damages) {
            if (damage == "a folder") {
                std::filesystem::remove(path);
                std::filesystem::create_directory(path);
            } else {
                Files::Replace(path, damage);
            }
            const auto document = read();
            EXPECT_EQ(document.condition, Condition::DAMAGED) << path << damage.substr(0, 9);
            EXPECT_NE(document.problem, "");
            EXPECT_TRUE(document.value.isObject() && document.value.empty());
        }
        std::filesystem::remove(path);
        Files::Replace(path, R"({"a":1})");
        EXPECT_EQ(read().condition, Condition::FINE) << path;
        EXPECT_EQ(read().value["a"], 1);
    }
    std::filesystem::remove_all(folder);
}
