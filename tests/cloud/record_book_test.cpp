#include <stdexcept>

#include "Cli/Json.h"
#include "Cloud/State/Users.h"
#include "Files.h"
#include "cloud_folder.h"

namespace LocalCloud {
namespace {

class RecordBookTest : public CloudTest {
protected:
    /** Records by their ids, each with its name. */
    void Write(const std::vector<std::pair<const char*, const char*>>& records) {
        Json::Value document;
        document["records"] = Json::arrayValue;
        for (const auto& [id, name] : records) {
            Json::Value& record = document["records"].append(Json::objectValue);
            record["record_id"] = id;
            record["name"] = name;
            record["address"] = "AA:BB:CC:00:11:22";
        }
        users.Save(ANN, document);
    }

    Json::Value Select(std::optional<std::int64_t> after) {
        return SelectRecords(folder, ANN, after, now);
    }

    /** What a download brings, as "id=name id=name"; a deletion is "id!". Keeps its mark. */
    std::string Download(std::optional<std::int64_t> after) {
        const Json::Value answer = Select(after);
        mark = answer["meta"]["synced_timestamp"].asInt64();
        std::string records;
        for (const auto& record : answer["records"]) {
            records += records.empty() ? "" : " ";
            records += Cli::StringMember(record, "record_id");
            records += record.isMember("address") ? "=" + Cli::StringMember(record, "name") : "!";
        }
        return records;
    }

    std::int64_t mark = 0;
};

TEST_F(RecordBookTest, SendsOnlyWhatChangedAfterTheMark) {
    Write({{"a", "1"}, {"b", "1"}});
    EXPECT_EQ(Download({}), "a=1 b=1");
    const auto first = mark;
    EXPECT_EQ(Download(first), "");
    Write({{"a", "1"}, {"b", "2"}, {"c", "1"}});
    EXPECT_EQ(Download(first), "b=2 c=1");
    EXPECT_EQ(Download(mark), "");
    EXPECT_EQ(Download({}), "a=1 b=2 c=1");
}

TEST_F(RecordBookTest, TellsOfDeletionsUntilTheRecordComesBack) {
    Write({{"a", "1"}, {"b", "1"}});
    Download({});
    const auto first = mark;
    Write({{"b", "1"}});
    EXPECT_EQ(Download(first), "a!");
    const auto second = mark;
    EXPECT_EQ(Download(second), "");
    EXPECT_EQ(Download({}), "b=1");
    Write({{"b", "1"}, {"a", "1"}});
    EXPECT_EQ(Download(second), "a=1");
    EXPECT_EQ(Download(first), "a=1");
}

TEST_F(RecordBookTest, MarksRiseWhenTheClockDoesNot) {
    Write({{"a", "1"}});
    Download({});
    const auto first = mark;
    now -= 1000;
    Write({{"a", "2"}});
    EXPECT_EQ(Download(first), "a=2");
    EXPECT_GT(mark, first);
}

TEST_F(RecordBookTest, ChangesOfMoreThanOneKindAreSeenAtOnce) {
    Write({{"a", "1"}, {"b", "1"}, {"c", "1"}});
    Download({});
    const auto first = mark;
    Write({{"b", "2"}, {"c", "1"}});
    EXPECT_EQ(Download(first), "b=2 a!");
    EXPECT_EQ(Download(first), "b=2 a!");
    EXPECT_EQ(Download(mark), "");
}

TEST_F(RecordBookTest, RefusesMarksThatItDidNotGive) {
    Write({{"a", "1"}});
    Download({});
    for (const auto& [wrong, code] :
         {std::pair(mark - 1, ResultCode::MARK_TOO_OLD), std::pair(mark + 1, ResultCode::MARK_UNKNOWN)}) {
        try {
            Select(wrong);
            ADD_FAILURE() << wrong - mark;
        } catch (const Refused& refused) {
            EXPECT_EQ(refused.code, code);
        }
    }
}

TEST_F(RecordBookTest, DamagedFilesAreErrorsAndCostNothing) {
    Write({{"a", "1"}});
    Download({});
    const auto first = mark;
    for (const char* text : {R"({"records":[)", "{}", R"({"records":[{"record_id":7}]})",
                             R"({"records":[{"record_id":"a"},{"record_id":"a"}]})"}) {
        Files::Replace(folder.RecordsFile(ANN), text, Files::PUBLIC);
        EXPECT_THROW(Select({}), std::runtime_error) << text;
    }
    Write({{"a", "1"}, {"b", "1"}});
    EXPECT_EQ(Download(first), "b=1");
    Files::Replace(folder.LedgerFile(ANN), R"({"oldest":1})");
    EXPECT_THROW(Select({}), std::runtime_error);
}

}  // namespace
}  // namespace LocalCloud
