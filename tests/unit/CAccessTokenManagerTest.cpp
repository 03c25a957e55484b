#include <memory>

#include "AuthData/CAccessToken.h"
#include "CSsoManager.h"
#include "Manager/CAccessTokenManager.h"
#include "Outside.h"
#include "ServiceTest.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace {

const std::string AUTH_CODE = Outside::Good(Outside::SIGN_IN_DOCUMENT);
const std::string TOKEN_ANSWER = Outside::Good(Outside::TOKEN_ANSWER);

std::string Token(int lifetime, int refreshLifetime) {
    return R"({"user-1":)" + Outside::TokenEntry(lifetime, refreshLifetime) + "}";
}

class CAccessTokenManagerTest : public ServiceTest {
protected:
    /** Gets a token with these records stored, until nothing is left to do. */
    void Run(const std::string& token, const std::string& authCode = AUTH_CODE) {
        Fake::Tv().records = {{"InfoSyncAccessToken", token}, {"InfoSyncAuthCode", authCode}};
        m_manager.Init(std::make_shared<CSsoManager>());
        m_manager.GetAccessToken(m_callback);
        Fake::RunPending();
    }

    std::vector<int> m_results;
    CAccessTokenManager::AccessTokenCallback m_callback = [this](auto result, const auto& /*token*/) {
        m_results.push_back(result);
    };
    CAccessTokenManager m_manager;
};

}  // namespace

TEST_F(CAccessTokenManagerTest, LifetimesDecideTheWay) {
    const std::pair<std::string, std::string> cases[] = {
        {Token(100, 100), "at once"}, {Token(99, 100), "refresh"}, {Token(100, 99), "new code"}};
    for (const auto& [token, way] : cases) {
        SCOPED_TRACE(token);
        Fake::Reset();
        m_results.clear();
        if (way == "refresh") {
            Fake::Answer(TOKEN_ANSWER);
        }
        Run(token);
        EXPECT_THAT(m_results, SizeIs(way == "new code" ? 0 : 1));
        EXPECT_THAT(Fake::HttpRequests(), SizeIs(way == "refresh" ? 1 : 0));
        EXPECT_THAT(Fake::AuthCodeRequests(), SizeIs(way == "new code" ? 1 : 0));
    }
}

TEST_F(CAccessTokenManagerTest, RejectedCodeRequestIsNotReported) {
    Run("{}");
    const auto& request = Fake::AuthCodeRequests().at(0);
    EXPECT_EQ(request.callback(nullptr, 1, nullptr), -1);
    EXPECT_EQ(request.callback(request.userData, 1, nullptr), -1);
    EXPECT_EQ(request.callback(request.userData, 1, AUTH_CODE.c_str()), -1);
    EXPECT_EQ(request.callback(request.userData, -1, AUTH_CODE.c_str()), -1);
    EXPECT_THAT(Fake::Logged(DLOG_ERROR), ElementsAre("userData is nullptr", "userData is authcode",
                                                      "result != SSO_TRUE", "result != SSO_TRUE"));
    EXPECT_THAT(m_results, IsEmpty());
}

TEST_F(CAccessTokenManagerTest, CallbackThatThrowsIsToldOfAFailure) {
    m_callback = [this](auto result, const auto& /*token*/) {
        m_results.push_back(result);
        if (result == CAccessTokenManager::Success) {
            throw std::runtime_error("from the callback");
        }
    };
    Run(Token(200, 200));
    Fake::Answer(TOKEN_ANSWER);
    Run(Token(10, 200));
    EXPECT_THAT(m_results, ElementsAre(1, 0, 1, 0));
    EXPECT_THAT(Fake::Logged(DLOG_ERROR),
                ElementsAre("Exception : from the callback", "exception : from the callback"));
    m_callback = [](auto, const auto&) { throw std::runtime_error("from the callback"); };
    Fake::Tv().authCodeAnswer = {SSO_TRUE, "no document"};
    Run("{}");
    EXPECT_EQ(Fake::AuthCodeRequests().at(0).returned, -1);
}

TEST_F(CAccessTokenManagerTest, CallbackMayAskAgain) {
    std::vector<int> second;
    m_callback = [&, marker = std::string("the callback's own copy, too long to be kept inside of it")](
                     auto /*result*/, const auto& /*token*/) {
        m_manager.GetAccessToken([&second](auto result, const auto&) { second.push_back(result); });
        second.push_back(static_cast<int>(marker.size()));
    };
    Run(Token(200, 200));
    EXPECT_THAT(second, ElementsAre(CAccessTokenManager::Success, 57));
}

TEST_F(CAccessTokenManagerTest, SecondCallTakesTheResult) {
    Run("{}");
    std::vector<int> second;
    m_manager.GetAccessToken([&second](auto result, const auto& /*token*/) { second.push_back(result); });
    Fake::Answer(TOKEN_ANSWER);
    const auto& request = Fake::AuthCodeRequests().at(0);
    EXPECT_EQ(request.callback(request.userData, SSO_TRUE, AUTH_CODE.c_str()), 0);
    EXPECT_THAT(m_results, IsEmpty());
    EXPECT_THAT(second, ElementsAre(CAccessTokenManager::Success));
}

TEST_F(CAccessTokenManagerTest, InitNeedsAUserAndDeinitLetsGoOfTheSignInService) {
    const auto sso = std::make_shared<CSsoManager>();
    m_manager.Init(sso);
    EXPECT_EQ(sso.use_count(), 2);
    m_manager.Deinit();
    EXPECT_EQ(sso.use_count(), 1);
    Fake::Tv().loginId = "";
    EXPECT_EQ(Failure([&] { m_manager.Init(sso); }), "nothing thrown");
    Fake::Tv().loginId.reset();
    EXPECT_EQ(Failure([&] { m_manager.Init(sso); }), "fail sso_get_login_user_id ");
}
