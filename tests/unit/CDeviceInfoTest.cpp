#include "AuthData/CDeviceInfo.h"
#include "Expected.h"
#include "ServiceTest.h"
#include "Util/JsonUtil.h"

using ::testing::ElementsAre;

namespace {

constexpr char SINK[] = "0000110b-0000-1000-8000-00805f9b34fb";

/** A record of the device NAME at address A-NAME. */
std::string Record(const std::string& id, const std::string& name, const std::string& uuids = SINK) {
    return R"({"address":"A-)" + name + R"(","name":")" + name + R"(","record_id":")" + id +
           R"(","uuids":")" + uuids + "\"}";
}

std::string Deletion(const std::string& id) {
    return R"({"record_id":")" + id + "\"}";
}

std::string Batch(const std::string& records) {
    return R"({"meta":{"synced_timestamp":5},"records":[)" + records + "]}";
}

/** The list's entry for such a record. */
std::string Entry(const std::string& id, const std::string& name, const std::string& users) {
    return '"' + id + R"(":{"address":"A-)" + name + R"(","deleted_on_tv":false,"name":")" + name +
           R"(","users":)" + users + "}";
}

class CDeviceInfoTest : public ServiceTest {
protected:
    static void Import(const std::string& batch, const std::string& user = Fake::LOGIN_ID) {
        CDeviceInfo info;
        info.Init(user);
        info.ImportData(batch);
    }

    static std::string& Records() {
        return Fake::Tv().records["InfoSyncRecords"].emplace();
    }

    static std::string& List() {
        return Fake::Tv().textSettings[Fake::DEVICES_KEY];
    }
};

}  // namespace

TEST_F(CDeviceInfoTest, BatchIsStoredAndListed) {
    struct Case {
        std::string name;
        std::string records;
        std::string list;
        std::string batch;
        std::string user = Fake::LOGIN_ID;
    };
    const std::string sink = SINK;
    const std::string sinks = R"(,"uuids":")" + sink + "\"}";
    const std::string malformed =
        Record("a", "A") + R"(,7,{"record_id":[]},{"record_id":"x","address":{},"name":"N")" + sinks +
        R"(,{"record_id":"y","address":"A","name":{})" + sinks +
        R"(,{"record_id":"z","address":"A","name":"N","uuids":[]})" +
        R"(,{"record_id":"gone","name":{}},{"record_id":3,"address":4,"name":5)" + sinks;
    const std::string shared = "{" + Entry("a", "A", R"(["z","b"])") + "}";
    const Case cases[] = {
        {"the first batch of a user is stored as sent", R"({"user-0":{"records":[]}})", "",
         R"({"extra":1,"records":[)" + Record("b", "B") + "," + Record("a", "A") + "," + Record("b", "B2") +
             "]}"},
        {"a merge sorts, replaces and keeps what the batch does not name",
         R"({"user-1":{"extra":1,"meta":{"synced_timestamp":1,"old":2},"records":[)" + Record("c", "C") +
             "," + Record("c", "C2") + "," + Record("a", "A") + "," + Record("B", "B") + "]}}",
         "",
         Batch(Record("d", "D") + "," + Record("a", "A2") + "," + Record("d", "D2") + "," + Deletion("B"))},
        {"only audio sinks reach the list", "", "",
         Batch(Record("yes1", "A", "0000110a-0000-1000-8000-00805f9b34fb," + sink) + "," +
               Record("yes2", "A", sink + ",") + "," +
               Record("no1", "A", "0000110B-0000-1000-8000-00805F9B34FB") + "," +
               Record("no2", "A", "0000110a-0000-1000-8000-00805f9b34fb, " + sink) + "," +
               Record("no3", "A", sink + "0") + "," + Record("no4", "A", "") +
               R"(,{"record_id":"no5","address":"x"})")},
        {"a paired device is neither added nor renamed", "", "{" + Entry("a", "A", R"(["user-0"])") + "}",
         Batch(Record("a", "Paired") + "," + Record("b", "Paired") + "," + Record("c", "Known"))},
        {"a user is added to an entry", "", "{" + Entry("a", "A", R"(["z"])") + "}", Batch(Record("a", "A2")),
         "b"},
        {"a user who has the entry renames it", "", shared, Batch(Record("a", "A3")), "z"},
        {"a stranger's deletion changes nothing", "", shared, Batch(Deletion("a")), "stranger"},
        {"a deletion leaves the other user", "", shared, Batch(Deletion("a")), "z"},
        {"the last user's deletion takes the entry", "", "{" + Entry("a", "A", R"(["b"])") + "}",
         Batch(Deletion("a") + "," + Deletion("never-listed")), "b"},
        {"a deletion takes one occurrence, and entries without users", "",
         "{" + Entry("a", "A", R"(["user-1","x","user-1"])") + "," + Entry("b", "B", "[]") +
             R"(,"c":7,"d":{"users":7}})",
         Batch(Deletion("a") + "," + Deletion("b") + "," + Deletion("c") + "," + Deletion("d"))},
        {"malformed records of a new user are skipped", R"({"user-0":{}})",
         "{" + Entry("gone", "G", R"(["user-1"])") + "}", Batch(malformed)},
        {"malformed records that are merged are skipped", R"({"user-1":{}})",
         "{" + Entry("gone", "G", R"(["user-1"])") + "}", Batch(malformed)},
        {"what is no entry is made anew", "", R"({"a":7,"b":{"users":7},"c":null})",
         Batch(Record("a", "A") + "," + Record("b", "B") + "," + Record("c", "C"))},
        {"a missing id is the empty one", "", "", Batch(R"({"address":"A","name":"N")" + sinks)},
        {"a damaged list is left and the records are stored", "", "{damaged", Batch(Record("a", "A"))}};
    std::string all;
    for (const Case& c : cases) {
        Fake::Reset();
        Fake::Tv().bonds = {{"A-Paired", true}, {"A-Known", false}};
        Records() = c.records;
        List() = c.list;
        const std::string failure = Failure([&c] { Import(c.batch, c.user); });
        all += "# " + c.name + ": " + failure + "\n" + DoneFrom("");
    }
    ExpectFile("records.txt", all);
}

TEST_F(CDeviceInfoTest, WhatWasStoredMeanwhileIsMergedInto) {
    Records() = R"({"user-1":)" + Batch(Record("a", "A")) + "}";
    CDeviceInfo info;
    info.Init(Fake::LOGIN_ID);
    Records() = R"({"user-0":{},"user-1":)" + Batch(Record("c", "C")) + "}";
    info.ImportData(Batch(Record("b", "B")));
    EXPECT_EQ(Stored("InfoSyncRecords"),
              R"({"user-0":{},"user-1":)" + Batch(Record("b", "B") + "," + Record("c", "C")) + "}");
}

TEST_F(CDeviceInfoTest, WhatReadingMadeIsKeptWithTheRestWhenTheStoreTurnsUnreadable) {
    for (const char* after : {"{", ""}) {
        Records() = R"({"user-0":{"records":[]}})";
        CDeviceInfo info;
        info.Init(Fake::LOGIN_ID);
        info.GetUserData()["meta"]["synced_timestamp"];
        Records() = after;
        info.ImportData(R"({"extra":1,"meta":{},"records":[]})");
        EXPECT_EQ(Stored("InfoSyncRecords"),
                  R"({"user-0":{"records":[]},"user-1":{"meta":{},"records":[]}})");
    }
}

TEST_F(CDeviceInfoTest, UnreadableStorageKeepsWhatIsHeld) {
    Records() = R"({"user-1":{"meta":{},"records":[)" + Record("a", "A") + "]}}";
    CDeviceInfo info;
    info.Init(Fake::LOGIN_ID);
    Records() = "{";
    info.ImportData(Batch(Record("b", "B")));
    EXPECT_EQ(Stored("InfoSyncRecords"),
              R"({"user-1":)" + Batch(Record("a", "A") + "," + Record("b", "B")) + "}");
    EXPECT_THAT(Fake::Logged(DLOG_ERROR), ElementsAre(AllOf(testing::StartsWith("exception: fail to parse"),
                                                            testing::EndsWith(", No data"))));
}
