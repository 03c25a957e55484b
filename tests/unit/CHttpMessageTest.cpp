#include "HttpMessage/CAccessTokenHttpMessage.h"
#include "HttpMessage/CHttpMessage.h"
#include "HttpMessage/CKCloudActivateHttpMessage.h"
#include "HttpMessage/CKCloudAuthHttpMessage.h"
#include "HttpMessage/CKCloudDataHttpMessage.h"
#include "HttpMessage/CRefreshTokenHttpMessage.h"
#include "ServiceTest.h"

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

using MessageData = std::map<std::string, std::string>;

/** A request to some server, the barest that can be sent. */
class PlainMessage : public CAuthServerHttpMessage {};

class CHttpMessageTest : public ServiceTest {
protected:
    /** Sends the message with the data and gives the request back as the client saw it. */
    static Fake::HttpRequest Send(IHttpMessage& message, const MessageData& data,
                                  RequestType type = RequestType::Post) {
        message.Init();
        for (const auto& [key, value] : data) {
            message.AddHttpMessageData(key, value);
        }
        Fake::Answer("answer");
        message.Request(type);
        return Fake::HttpRequests().back();
    }
};

}  // namespace

TEST_F(CHttpMessageTest, AnswerIsAllPiecesOfOneRequest) {
    PlainMessage message;
    message.Init();
    for (const auto& pieces : {std::vector<std::string>{"first"}, {"a", "", "bc"}}) {
        Fake::Answer(Fake::HttpAnswer{pieces});
        message.Request(RequestType::Post);
    }
    EXPECT_EQ(message.GetHttpResponse(), "abc");
    EXPECT_THAT(Fake::Logged(DLOG_INFO), Contains("before send").Times(2));
    EXPECT_THAT(Fake::Logged(DLOG_INFO), Contains("abc"));
    std::string text = "x";
    char data[] = "1234567";
    EXPECT_EQ(CHttpMessage::WriteCallback(data, 2, 3, &text), 6U);
    EXPECT_EQ(text, "x123456");
}

TEST_F(CHttpMessageTest, SecondValueOfAKeyIsDropped) {
    CHttpMessage message;
    message.AddHttpMessageData("k", "a");
    message.AddHttpMessageData("k", "b");
    EXPECT_THAT(message.GetHttpMessageData(), ElementsAre(testing::Pair("k", "a")));
    EXPECT_THAT(Fake::Logged(DLOG_INFO), ElementsAre("key:k, value : a", "key:k, value : b"));
    EXPECT_THAT(Fake::Logged(DLOG_DEBUG), ElementsAre("key : k, vlaue : a"));
}

TEST_F(CHttpMessageTest, ClientThatDoesNotComeUpIsLetGo) {
    CHttpMessage message;
    Fake::FailCall("NxCurlEasy::Initialize");
    EXPECT_EQ(Failure([&] { message.Init(); }), "fail to Initalize Nxcurl");
    EXPECT_THAT(Fake::Leftovers(), IsEmpty());
}

TEST_F(CHttpMessageTest, TokenIssueIsAFormWithItsValuesAsTheyAre) {
    CAccessTokenHttpMessage message;
    const auto request = Send(message, {{"code", "A&=\xC3\xA9"},
                                        {"client_id", "id"},
                                        {"auth_server_url", "D"},
                                        {"code_verifier", "V"},
                                        {"auth_api", "/api"},
                                        {"kap_api_domain", "K"}});
    const std::string body = "code=A&=\xC3\xA9&client_id=id&auth_server_url=D&code_verifier=V";
    EXPECT_EQ(request.body, body);
    EXPECT_EQ(request.header.at(1), "Content-Length: " + std::to_string(body.size()));
}

TEST_F(CHttpMessageTest, RefreshSendsEmptyValuesForMissingOnes) {
    CRefreshTokenHttpMessage message;
    const auto request = Send(message, {{"refresh_token", "R"}, {"auth_api", "https://auth/api"}});
    EXPECT_EQ(request.body, "refresh_token=R&client_id=&auth_server_url=");
    EXPECT_EQ(request.settings.back(), "gate site");
}

TEST_F(CHttpMessageTest, DownloadSendsEmptyValuesButLeavesAbsentQueryPartsOut) {
    CKCloudDataHttpMessage message("/data");
    const auto request = Send(message, {{"changed_after", ""}}, RequestType::Get);
    EXPECT_EQ(request.url, "https://api.cloud.quorlen.example/data?table_ver=1&changed_after=");
    EXPECT_THAT(request.header, ElementsAre("User-Agent: ;;;; ;", "Authorization: Bearer "));
}
