#include "AuthData/CDeviceInfo.h"
#include "Expected.h"
#include "Rows.h"
#include "ServiceTest.h"
#include "Util/JsonUtil.h"

using ::testing::ElementsAre;

namespace {

/** A record of the device NAME at address A-NAME. */
std::string Record(const std::string& id, const std::string& name) {
    return R"({"address":"A-)" + name + R"(","name":")" + name + R"(","record_id":")" + id +
           R"(","uuids":")" + SINK + "\"}";
}

std::string Batch(const std::string& records) {
    return R"({"meta":{"synced_timestamp":5},"records":[)" + records + "]}";
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
    std::string all;
    for (const auto& [name, records, list, batch, user] :
         Rows<5>("tables.txt", "a batch: what it is, the records and the list before it, and whose it is")) {
        Fake::Reset();
        Fake::Tv().bonds = {{"A-Paired", true}, {"A-Known", false}};
        Records() = records;
        List() = list;
        const std::string failure = Failure([&batch = batch, &user = user] { Import(batch, user); });
        all.append("# ").append(name).append(": ").append(failure).append("\n").append(DoneFrom(""));
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
