#include <glib.h>
#include <openssl/sha.h>
#include <sso.h>
#include <tinyxml2.h>

#include <optional>
#include <regex>
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

std::string FromBase64Url(std::string text) {
    std::replace(text.begin(), text.end(), '-', '+');
    std::replace(text.begin(), text.end(), '_', '/');
    text.append((4 - text.size() % 4) % 4, '=');
    gsize size = 0;
    const std::unique_ptr<guchar, decltype(&g_free)> bytes(g_base64_decode(text.c_str(), &size), &g_free);
    return {reinterpret_cast<const char*>(bytes.get()), size};
}

std::string Element(const std::string& document, const char* name) {
    tinyxml2::XMLDocument xml;
    EXPECT_EQ(xml.Parse(document.c_str()), tinyxml2::XML_SUCCESS);
    const auto* root = xml.FirstChildElement("rsp");
    EXPECT_STREQ(root->Attribute("stat"), "ok");
    return root->FirstChildElement(name)->GetText();
}

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

TEST_F(SsoTest, CodeCarriesWhatTheCloudMustKnow) {
    SetIni("[sso]\nlogin_id=J\xC3\xB6rg.?>&\n[http]\ngate_site=https://a.example:1");
    const auto outcomes = Request();
    ASSERT_EQ(outcomes.size(), 1U);
    EXPECT_EQ(outcomes[0].result, SSO_TRUE);
    const std::string& document = outcomes[0].document.value();
    EXPECT_EQ(Element(document, "kap_auth_domain"), "a.example");
    EXPECT_EQ(Element(document, "kap_api_domain"), "a.example");

    const std::string verifier = Element(document, "code_verifier");
    const std::string code = Element(document, "auth_code");
    std::smatch parts;
    ASSERT_TRUE(std::regex_match(code, parts, std::regex(R"(lc1\.([\w-]+)\.([\w-]{43})\.([\w-]{22}))")))
        << code;
    EXPECT_EQ(FromBase64Url(parts[1]), "J\xC3\xB6rg.?>&");
    EXPECT_TRUE(std::regex_match(verifier, std::regex(R"([\w-]{43})"))) << verifier;
    std::string digest(SHA256_DIGEST_LENGTH, '\0');
    SHA256(reinterpret_cast<const unsigned char*>(verifier.data()), verifier.size(),
           reinterpret_cast<unsigned char*>(digest.data()));
    EXPECT_EQ(FromBase64Url(parts[2]), digest);

    EXPECT_NE(Element(Request()[0].document.value(), "code_verifier"), verifier);
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
