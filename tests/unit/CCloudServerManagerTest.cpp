#include "AuthData/CAccessToken.h"
#include "CSsoManager.h"
#include "Expected.h"
#include "Manager/CCloudServerManager.h"
#include "Rows.h"
#include "ServiceTest.h"

using ::testing::StartsWith;

namespace {

class CCloudServerManagerTest : public ServiceTest {
protected:
    /** Stores a valid activation and application token, so that a run comes to its download at once. */
    static void StoreCredentials() {
        Fake::Tv().records["InfoSyncServiceActivationInfo"] =
            R"({"user-1":{"dvcId":"dvc","expireTime":2000000,"rcode":0}})";
        Fake::Tv().records["InfoSyncJWT"] = R"({"user-1":{"accessToken":"jwt","tokenExpireTimeSec":2000}})";
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
    Fake::Answer(R"({"meta":{"synced_timestamp":9},"records":[]})");
    manager.GetBTInfoDataFromCloud(std::make_shared<CAccessToken>());
    EXPECT_THAT(Stored("InfoSyncRecords"), StartsWith(R"({"user-2":)"));
}

TEST_F(CCloudServerManagerTest, DownloadByMarkAndAnswer) {
    std::string all;
    for (const auto& [name, records, answer, status] :
         Rows<4>("tables.txt", "a download: what it is, the records before it, the answer and its status")) {
        Fake::Reset();
        StoreCredentials();
        Fake::Tv().records["InfoSyncRecords"] = records;
        Fake::Answer(answer, std::stol(status));
        Run();
        all += "# " + name + "\n" + DoneFrom("InfoSyncRecords");
    }
    ExpectFile("downloads.txt", all);
}
