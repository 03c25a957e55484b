/** What the cloud keeps in its folder: records and their marks, planned faults, and what of it is damaged. */
#include <stdexcept>

#include "Cloud/Server/Fault.h"
#include "cloud_folder.h"

namespace LocalCloud {
namespace {

class RecordsTest : public CloudTest {
protected:
    /** Keeps records of these ids, each with a name of one letter: "a=1 b=2". */
    void Write(const std::string& records) {
        Json::Value document;
        document["records"] = Json::arrayValue;
        for (const std::string& words : Split(records, ' ')) {
            Json::Value& record = document["records"].append(Json::objectValue);
            record["record_id"] = words.substr(0, 1);
            record["name"] = words.substr(2);
            record["address"] = "AA:BB:CC:00:11:22";
        }
        cloud.users.Save(ANN, document);
    }

    /** What a download brings, in the same form; a deletion is "a!". Keeps its mark. */
    std::string Download(std::optional<std::int64_t> after) {
        const Json::Value answer = SelectRecords(folder, ANN, after, now);
        mark = answer["meta"]["synced_timestamp"].asInt64();
        std::string records;
        for (const auto& record : answer["records"]) {
            records += records.empty() ? "" : " ";
            records += record["record_id"].asString();
            records += record.isMember("address") ? "=" + record["name"].asString() : "!";
        }
        return records;
    }

    /** Keeps the records of a first run. @return its mark */
    std::int64_t Begin(const std::string& records) {
        Write(records);
        EXPECT_EQ(Download({}), records);
        return mark;
    }

    std::int64_t mark = 0;
};

TEST_F(RecordsTest, OnlyWhatChangedAfterTheMarkIsSent) {
    const auto first = Begin("a=1 b=1");
    EXPECT_EQ(Download(first), "");
    Write("a=1 b=2 c=1");
    EXPECT_EQ(Download(first), "b=2 c=1");
    EXPECT_EQ(Download(mark), "");
    EXPECT_EQ(Download({}), "a=1 b=2 c=1");
}

TEST_F(RecordsTest, DeletionsAreToldUntilTheRecordComesBack) {
    const auto first = Begin("a=1 b=1");
    Write("b=2");
    EXPECT_EQ(Download(first), "b=2 a!");
    EXPECT_EQ(Download(first), "b=2 a!");
    const auto second = mark;
    EXPECT_EQ(Download(second), "");
    EXPECT_EQ(Download({}), "b=2");
    Write("b=2 a=1");
    EXPECT_EQ(Download(second), "a=1");
    EXPECT_EQ(Download(first), "b=2 a=1");
}

TEST_F(RecordsTest, MarksRiseWhenTheClockDoesNot) {
    const auto first = Begin("a=1");
    now -= 1000;
    Write("a=2");
    EXPECT_EQ(Download(first), "a=2");
    EXPECT_GT(mark, first);
}

TEST_F(RecordsTest, MarksThatWereNotGivenAreRefused) {
    const auto first = Begin("a=1");
    for (const auto& [wrong, code] :
         {std::pair(first - 1, ResultCode::MARK_TOO_OLD), std::pair(first + 1, ResultCode::MARK_UNKNOWN)}) {
        try {
            Download(wrong);
            ADD_FAILURE() << wrong - first;
        } catch (const Refused& refused) {
            EXPECT_EQ(refused.code, code);
        }
    }
}

TEST_F(RecordsTest, DamagedRecordsCostNoMark) {
    const auto first = Begin("a=1");
    Files::Replace(folder.RecordsFile(ANN), "{", Files::PUBLIC);
    EXPECT_THROW(Download({}), std::runtime_error);
    Write("a=1 b=1");
    EXPECT_EQ(Download(first), "b=1");
}

class FaultTest : public CloudTest {
protected:
    void Plan(const std::string& kind, const std::string& on, int skip, int times) {
        Json::Value planned;
        planned["kind"] = kind;
        planned["value"] = "";
        planned["on"] = on;
        planned["skip"] = skip;
        planned["times"] = times;
        AddFault(folder, Fault(planned));
    }

    /** One letter for each request, as to a server each: of the fault's kind that hits it, or '-'. */
    std::string Hits(const std::string& name, int requests) {
        std::string hits;
        for (int i = 0; i < requests; ++i) {
            const auto fault = TakeFault(folder, name);
            hits += fault ? fault->Describe()[0] : '-';
        }
        return hits;
    }
};

TEST_F(FaultTest, HitsTheRequestsThatItIsForAsOftenAsAsked) {
    Plan("drop", "any", 2, 2);
    Plan("garbage", "token", 1, 1);
    EXPECT_EQ(Hits("download", 6), "--dd--");
    EXPECT_EQ(Hits("token", 3), "-g-");
    EXPECT_FALSE(Files::ReadIfThere(folder.StateFile("faults.json")));
}

TEST_F(FaultTest, GoesOnUntilClearedWithZeroTimesAndWaitsForEarlierOnes) {
    Plan("drop", "any", 0, 0);
    EXPECT_EQ(Hits("app", 3), "ddd");
    EXPECT_EQ(ForgetFaults(folder), 1U);
    EXPECT_EQ(ForgetFaults(folder), 0U);
    Plan("drop", "any", 0, 1);
    Plan("garbage", "any", 0, 1);
    EXPECT_EQ(Hits("app", 3), "dg-");
}

TEST_F(FaultTest, OfAConnectionLeavesRequestsAlone) {
    Plan("plain", "any", 1, 1);
    EXPECT_TRUE(PlannedFaults(folder).front().HitsConnection());
    EXPECT_EQ(Hits("app", 2), "--");
    EXPECT_FALSE(TakeFault(folder, ""));
    EXPECT_TRUE(TakeFault(folder, ""));
    EXPECT_TRUE(PlannedFaults(folder).empty());
}

TEST_F(FaultTest, DamagedFilesAreErrorsThatNameThemAndStayAsTheyAre) {
    SelectRecords(folder, ANN, {}, now);
    const auto expectDamage = [](const std::string& name, const std::function<void()>& use) {
        try {
            use();
            ADD_FAILURE() << name;
        } catch (const std::runtime_error& error) {
            EXPECT_NE(std::string(error.what()).find(name), std::string::npos) << error.what();
        }
    };
    for (const auto& [name, text, use] : Rows<3>("tables.txt", "a damaged file and what comes across it")) {
        const std::string path = folder.Path() + "/" + name;
        const auto good = Files::ReadIfThere(path);
        Files::Replace(path, text);
        if (use == "issue") {
            expectDamage(name, [this] { TokenStore(folder).Issue(ANN); });
        } else if (use == "download") {
            expectDamage(name, [this] { SelectRecords(folder, ANN, {}, now); });
        } else {
            expectDamage(name, [this] { TakeFault(folder, "app"); });
            expectDamage(name, [this] { Plan("drop", "any", 0, 1); });
        }
        EXPECT_EQ(Files::Read(path), text);
        Files::Remove(path);
        if (good) {
            Files::Replace(path, *good);
        }
    }
}

}  // namespace
}  // namespace LocalCloud
