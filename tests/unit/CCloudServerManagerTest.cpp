#include "AuthData/CAccessToken.h"
#include "CSsoManager.h"
#include "Manager/CCloudServerManager.h"
#include "ServiceTest.h"

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::StartsWith;

namespace {

constexpr char CLOUD[] = "https://api.cloud.quorlen.example";
constexpr char ACTIVATION[] = R"({"dvcId":"dvc","expireTime":2000000,"rcode":0})";
constexpr char APP_TOKEN[] = R"({"accessToken":"jwt","tokenExpireTimeSec":2000})";
constexpr char DOWNLOAD[] = R"({"meta":{"synced_timestamp":9},"more":1,"records":[]})";

std::string OfUser(const std::string& entry) {
    return R"({"user-1":)" + entry + "}";
}

class CCloudServerManagerTest : public ServiceTest {
protected:
    /** Stores a valid activation and application token, so that a run comes to its download at once. */
    static void StoreCredentials() {
        Fake::Tv().records["InfoSyncServiceActivationInfo"] = OfUser(ACTIVATION);
        Fake::Tv().records["InfoSyncJWT"] = OfUser(APP_TOKEN);
    }

    /** A whole run of a new process. */
    static void Run() {
        CCloudServerManager manager;
        manager.Init(std::make_shared<CSsoManager>());
        const auto token = std::make_shared<CAccessToken>();
        token->Init(Fake::LOGIN_ID);
        token->ParseAccessToken(R"({"rsp":{"result":{"access_token":"access","userId":"uid"}}})");
        manager.GetBTInfoDataFromCloud(token);
    }

    static std::vector<std::string> Paths() {
        std::vector<std::string> paths;
        for (const auto& request : Fake::HttpRequests()) {
            paths.push_back(request.url.substr(sizeof(CLOUD) - 1));
        }
        return paths;
    }
};

}  // namespace

TEST_F(CCloudServerManagerTest, LoginIdIsAskedForAnew) {
    StoreCredentials();
    CCloudServerManager manager;
    manager.Init(std::make_shared<CSsoManager>());
    Fake::Tv().loginId = "user-2";
    Fake::Answer(DOWNLOAD);
    manager.GetBTInfoDataFromCloud(std::make_shared<CAccessToken>());
    EXPECT_THAT(Stored("InfoSyncRecords"), StartsWith(R"({"user-2":)"));
}

TEST_F(CCloudServerManagerTest, OnlyAPositiveMarkIsSentBack) {
    const std::string mark = "last synced timestamp : ";
    struct Case {
        std::string entry;
        std::string query;
        bool unreadable = false;
    };
    const std::string all = "?table_ver=1";
    const Case cases[] = {{R"({"meta":{"synced_timestamp":1}})", all + "&changed_after=1&coldStartable=true"},
                          {R"({"meta":{"synced_timestamp":9223372036854775807}})",
                           all + "&changed_after=9223372036854775807&coldStartable=true"},
                          {R"({"meta":{"synced_timestamp":0}})", all},
                          {R"({"meta":{"synced_timestamp":-5}})", all},
                          {R"({"meta":{"synced_timestamp":"7"}})", all, true}};
    for (const auto& [entry, query, unreadable] : cases) {
        SCOPED_TRACE(entry);
        Fake::Reset();
        StoreCredentials();
        Fake::Tv().records["InfoSyncRecords"] = OfUser(entry);
        Fake::Answer(DOWNLOAD);
        Run();
        EXPECT_THAT(Paths(), ElementsAre("/data/v2/com.quorlen.bluetooth.device_sync" + query));
        EXPECT_THAT(Fake::Logged(DLOG_INFO), Contains(StartsWith(mark)).Times(query == all ? 0 : 1));
        EXPECT_EQ(Fake::Logged(DLOG_ERROR).front() == "fail to get json info.", unreadable);
        EXPECT_THAT(Stored("InfoSyncRecords"), HasSubstr(R"("meta":{"synced_timestamp":9})"));
    }
}

TEST_F(CCloudServerManagerTest, FirstDownloadIsMergedOnlyIntoAnEmptyStore) {
    StoreCredentials();
    const std::string batch =
        R"({"meta":{"synced_timestamp":9},"more":1,"records":[{"record_id":"b"},{"record_id":"a"}]})";
    for (const char* stored : {R"({"user-1":null})", ""}) {
        SCOPED_TRACE(stored);
        Fake::Tv().records["InfoSyncRecords"] = stored;
        Fake::Answer(batch);
        Run();
        EXPECT_EQ(
            Stored("InfoSyncRecords"),
            OfUser(R"({"meta":{"synced_timestamp":9},"records":[{"record_id":"a"},{"record_id":"b"}]})"));
        EXPECT_THAT(Fake::Logged(DLOG_INFO), Not(Contains("No data for this user. add all")));
    }
    Fake::Tv().records["InfoSyncRecords"] = R"({"user-0":{}})";
    Fake::Answer(batch);
    Run();
    EXPECT_EQ(Stored("InfoSyncRecords"), R"({"user-0":{},"user-1":)" + batch + "}");
}

TEST_F(CCloudServerManagerTest, RefusedDownloadForgetsTheRecordsOnlyWhenTheCloudSaysSo) {
    const std::string records = OfUser(R"({"meta":{"synced_timestamp":7},"records":[]})");
    struct Case {
        std::string body;
        bool forgotten;
        std::string error;
    };
    const Case cases[] = {{R"({"rcode":4009100})", true, "HTTP error"},
                          {R"({"rcode":4000002})", true, "HTTP error"},
                          {R"({"rcode":4009101})", false, "HTTP error"},
                          {R"([4009100])", false, "objectValue"}};
    for (const auto& [body, forgotten, error] : cases) {
        SCOPED_TRACE(body);
        Fake::Reset();
        StoreCredentials();
        Fake::Tv().records["InfoSyncRecords"] = records;
        Fake::Answer(body, 409);
        Run();
        EXPECT_EQ(Stored("InfoSyncRecords"), forgotten ? "{}" : records);
        EXPECT_THAT(Fake::Calls({"vconf_set_str"}), SizeIs(forgotten ? 1 : 0));
        EXPECT_EQ(Fake::Logged(DLOG_ERROR).at(0), "error code : 409");
        EXPECT_THAT(Fake::Logged(DLOG_ERROR).back(), HasSubstr(error));
        Fake::Answer(DOWNLOAD);
        Run();
        EXPECT_EQ(Paths().back().find("changed_after") == std::string::npos, forgotten);
    }
}
