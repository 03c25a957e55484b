#include "AuthData/CAccessToken.h"
#include "CSsoManager.h"
#include "Expected.h"
#include "Manager/CCloudServerManager.h"
#include "ServiceTest.h"

using ::testing::StartsWith;

namespace {

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

TEST_F(CCloudServerManagerTest, DownloadByMarkAndAnswer) {
    struct Case {
        std::string name;
        std::string records;
        std::string answer;
        long status = 200;
    };
    const auto marked = [](const std::string& mark) {
        return OfUser(R"({"meta":{"synced_timestamp":)" + mark + "}}");
    };
    const std::string batch =
        R"({"meta":{"synced_timestamp":9},"more":1,"records":[{"record_id":"b"},{"record_id":"a"}]})";
    const Case cases[] = {{"the lowest mark is sent", marked("1"), DOWNLOAD},
                          {"the highest mark is sent", marked("9223372036854775807"), DOWNLOAD},
                          {"no mark is 0", marked("0"), DOWNLOAD},
                          {"no mark is negative", marked("-5"), DOWNLOAD},
                          {"no mark is a text", marked(R"("7")"), DOWNLOAD},
                          {"a user without an entry's batch is merged", R"({"user-1":null})", batch},
                          {"an empty store's batch is merged", "", batch},
                          {"a new user's batch is stored as sent", R"({"user-0":{}})", batch},
                          {"4009100 forgets the records", marked("7"), R"({"rcode":4009100})", 409},
                          {"4000002 forgets the records", marked("7"), R"({"rcode":4000002})", 409},
                          {"any other code keeps them", marked("7"), R"({"rcode":4009101})", 409},
                          {"a code in a list keeps them", marked("7"), "[4009100]", 409}};
    std::string all;
    for (const Case& c : cases) {
        Fake::Reset();
        StoreCredentials();
        Fake::Tv().records["InfoSyncRecords"] = c.records;
        Fake::Answer(c.answer, c.status);
        Run();
        all += "# " + c.name + "\n" + DoneFrom("InfoSyncRecords");
    }
    ExpectFile("downloads.txt", all);
}
