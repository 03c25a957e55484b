#include <glib.h>
#include <sso.h>

#include <optional>
#include <vector>

#include "Television.h"

using ::testing::HasSubstr;

namespace {

struct Outcome {
    int result;
    std::optional<std::string> document;
};

class SsoTest : public Television {
protected:
    /** Asks for a code, and runs the main loop until nothing is left to do. */
    std::vector<Outcome> Request() {
        std::vector<Outcome> outcomes;
        EXPECT_EQ(sso_request_user_authcode("client", "scope", &OnCode, &outcomes), 0);
        EXPECT_TRUE(outcomes.empty()) << "completed before the request returned";
        while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
        }
        return outcomes;
    }

private:
    static int OnCode(void* outcomes, int result, const char* document) {
        static_cast<std::vector<Outcome>*>(outcomes)->push_back(
            {result, document == nullptr ? std::nullopt : std::make_optional<std::string>(document)});
        return 0;
    }
};

}  // namespace

TEST_F(SsoTest, NobodySignedInIsNoLoginId) {
    int state = 5;
    EXPECT_EQ(sso_get_login_state(&state), 0);
    EXPECT_EQ(state, 0);
    char* id = nullptr;
    sso_get_login_user_id(&id);
    EXPECT_EQ(id, nullptr);
    SetIni("[sso]\nstate=2\nlogin_id=ann@example.com");
    sso_get_login_state(&state);
    EXPECT_EQ(state, 2);
    sso_get_login_user_id(&id);
    EXPECT_STREQ(id, "ann@example.com");
    free(id);
}

TEST_F(SsoTest, EachCodeHasAVerifierOfItsOwn) {
    const auto verifier = [this] {
        const std::string document = Request().at(0).document.value();
        return document.substr(document.find("<code_verifier>"), 58);
    };
    EXPECT_NE(verifier(), verifier());
}

TEST_F(SsoTest, DocumentOfAFileIsHandedOverAsItIs) {
    SetIni("[sso]\nauth_code=code.xml\nresult=7");
    Put("code.xml", "no <XML> at all\r\n\xFF");
    const auto outcomes = Request();
    ASSERT_EQ(outcomes.size(), 1U);
    EXPECT_EQ(outcomes[0].result, 7);
    EXPECT_EQ(outcomes[0].document, "no <XML> at all\r\n\xFF");
}

TEST_F(SsoTest, DocumentThatCannotBeHadIsAFailureThatSaysWhy) {
    for (const auto& [groups, reason] :
         {std::pair("[sso]\nauth_code=missing.xml", "missing.xml: No such file"),
          std::pair("[http]\ngate_site=http://a.example", "is not an https origin")}) {
        SetIni(groups);
        const auto outcomes = Request();
        ASSERT_EQ(outcomes.size(), 1U);
        EXPECT_EQ(outcomes[0].result, -1);
        EXPECT_EQ(outcomes[0].document, std::nullopt);
        EXPECT_THAT(Logged(), HasSubstr(reason));
    }
}
