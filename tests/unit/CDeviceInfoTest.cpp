#include "AuthData/CDeviceInfo.h"
#include "ServiceTest.h"
#include "Util/JsonUtil.h"

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

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

TEST_F(CDeviceInfoTest, FirstBatchOfAUserIsStoredAsSent) {
    Records() = R"({"user-0":{"records":[]}})";
    const std::string batch = R"({"extra":1,"records":[)" + Record("b", "B") + "," + Record("a", "A") + "," +
                              Record("b", "B2") + "]}";
    Import(batch);
    EXPECT_EQ(Stored("InfoSyncRecords"), R"({"user-0":{"records":[]},"user-1":)" + batch + "}");
    EXPECT_THAT(Fake::Logged(DLOG_INFO),
                testing::IsSupersetOf({"data:" + batch, std::string("No data for this user. add all")}));
    EXPECT_EQ(List(), "{" + Entry("a", "A", R"(["user-1"])") + "," + Entry("b", "B2", R"(["user-1"])") + "}");
}

TEST_F(CDeviceInfoTest, MergeSortsReplacesAndKeepsWhatTheBatchDoesNotName) {
    Records() = R"({"user-1":{"extra":1,"meta":{"synced_timestamp":1,"old":2},"records":[)" +
                Record("c", "C") + "," + Record("c", "C2") + "," + Record("a", "A") + "," + Record("B", "B") +
                "]}}";
    Import(Batch(Record("d", "D") + "," + Record("a", "A2") + "," + Record("d", "D2") + "," + Deletion("B")));
    EXPECT_EQ(Stored("InfoSyncRecords"), R"({"user-1":{"extra":1,"meta":{"synced_timestamp":5},"records":[)" +
                                             Deletion("B") + "," + Record("a", "A2") + "," +
                                             Record("c", "C") + "," + Record("d", "D2") + "]}}");
    EXPECT_EQ(List(), "{" + Entry("a", "A2", R"(["user-1"])") + "," + Entry("c", "C", R"(["user-1"])") + "," +
                          Entry("d", "D2", R"(["user-1"])") + "}");
}

TEST_F(CDeviceInfoTest, OnlyUnpairedAudioSinksReachTheList) {
    struct Case {
        std::string uuids;
        bool listed;
    };
    const std::string sink = SINK;
    const Case cases[] = {{sink, true},
                          {"0000110a-0000-1000-8000-00805f9b34fb," + sink, true},
                          {sink + ",", true},
                          {"0000110B-0000-1000-8000-00805F9B34FB", false},
                          {"0000110a-0000-1000-8000-00805f9b34fb, " + sink, false},
                          {sink + "0", false},
                          {"", false}};
    for (const auto& [uuids, listed] : cases) {
        SCOPED_TRACE(uuids);
        Fake::Reset();
        Import(Batch(Record("a", "A", uuids)));
        EXPECT_EQ(List(), listed ? "{" + Entry("a", "A", R"(["user-1"])") + "}" : "null");
    }
    Fake::Reset();
    Import(Batch(R"({"record_id":"a","address":"x"})"));
    EXPECT_EQ(List(), "null");
}

TEST_F(CDeviceInfoTest, PairedDeviceIsNeitherAddedNorRenamed) {
    List() = "{" + Entry("a", "A", R"(["user-0"])") + "}";
    const std::string before = List();
    Fake::Tv().bonds = {{"A-A2", true}, {"A-B", true}, {"A-C", false}};
    Import(Batch(Record("a", "A2") + "," + Record("b", "B")));
    EXPECT_EQ(List(), before);
    EXPECT_THAT(Fake::Logged(DLOG_INFO), Contains("already locally bonded device").Times(2));
    Import(Batch(Record("c", "C")));
    EXPECT_THAT(List(), HasSubstr(Entry("c", "C", R"(["user-1"])")));
}

TEST_F(CDeviceInfoTest, UsersShareAnEntryUntilTheLastOneDeletesIt) {
    Import(Batch(Record("a", "A")), "z");
    Import(Batch(Record("a", "A2")), "b");
    Import(Batch(Record("a", "A3")), "z");
    EXPECT_EQ(List(), "{" + Entry("a", "A3", R"(["z","b"])") + "}");
    EXPECT_THAT(Fake::Logged(DLOG_INFO), testing::IsSupersetOf({"new data. add it", "record_id : a",
                                                                "already exist records, add user id only."}));
    EXPECT_THAT(Fake::Logged(DLOG_DEBUG),
                Contains(R"(Add : {"address":"A-A3","deleted_on_tv":false,"name":"A3","users":["z","b"]} )"));
    Import(Batch(Deletion("a")), "stranger");
    EXPECT_EQ(List(), "{" + Entry("a", "A3", R"(["z","b"])") + "}");
    Import(Batch(Deletion("a")), "z");
    EXPECT_EQ(List(), "{" + Entry("a", "A3", R"(["b"])") + "}");
    EXPECT_THAT(Fake::Logged(DLOG_INFO), Contains("z removed from a"));
    Import(Batch(Deletion("a") + "," + Deletion("never-listed")), "b");
    EXPECT_EQ(List(), "{}");
}

TEST_F(CDeviceInfoTest, DeletionTakesOneOccurrenceAndEmptyEntries) {
    List() = "{" + Entry("a", "A", R"(["user-1","x","user-1"])") + "," + Entry("b", "B", "[]") +
             R"(,"c":7,"d":{"users":7}})";
    Import(Batch(Deletion("a") + "," + Deletion("b") + "," + Deletion("c") + "," + Deletion("d")));
    EXPECT_EQ(List(), "{" + Entry("a", "A", R"(["x","user-1"])") + "}");
}

TEST_F(CDeviceInfoTest, MalformedRecordIsSkippedAndTheOthersAreNot) {
    const std::string sink = R"(,"uuids":")" + std::string(SINK) + "\"}";
    const std::string malformed = R"(7,{"record_id":[]},{"record_id":"x","address":{},"name":"N")" + sink +
                                  R"(,{"record_id":"y","address":"A","name":{})" + sink +
                                  R"(,{"record_id":"z","address":"A","name":"N","uuids":[]})";
    const std::string batch = Batch(Record("a", "A") + "," + malformed +
                                    R"(,{"record_id":"gone","name":{}})"
                                    R"(,{"record_id":3,"address":4,"name":5)" +
                                    sink);
    for (const char* before : {R"({"user-0":{}})", R"({"user-1":{}})"}) {
        SCOPED_TRACE(before);
        Fake::Reset();
        Records() = before;
        List() = "{" + Entry("gone", "G", R"(["user-1"])") + "}";
        Import(batch);
        EXPECT_EQ(List(), R"({"3":{"address":"4","deleted_on_tv":false,"name":"5","users":["user-1"]},)" +
                              Entry("a", "A", R"(["user-1"])") + "}");
        EXPECT_THAT(Fake::Logged(DLOG_ERROR), Contains("skip 5 malformed records, the first at position 1"));
    }
    EXPECT_THAT(Stored("InfoSyncRecords"), HasSubstr(R"({"address":{},"name":"N","record_id":"x")"));
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
