#include <gmock/gmock.h>

#include "Cli/Masker.h"

using Cli::Masker;
using testing::HasSubstr;
using testing::Not;

namespace {

const std::string SECRET = "Zq9xSecretSecretSecret";

/** The text with the secret wherever the word stands for it. */
std::string WithSecret(std::string text) {
    for (std::size_t at = text.find("SECRET"); at != std::string::npos; at = text.find("SECRET", at + 1)) {
        text.replace(at, 6, SECRET);
    }
    return text;
}

}  // namespace

TEST(Masker, MasksTheValueOfASecretsNameInEveryForm) {
    const std::string messages[] = {
        R"(accessToken : {"rsp":{"result":{"access_token":"SECRET","refresh_token":"SECRET"}}})",
        R"(stringToWrite {"ann":{"accessToken" : "SECRET","expires_in":5}})",
        R"(""access_token"":""SECRET"",""scope"":""x"")",
        R"({"access_token":["SECRET"],"refresh_token":
            "SECRET"})",
        R"({"access_token":"a\"SECRET\\","scope":"x"})",
        R"({"access_token":"cut off: SECRET)",
        R"({"body":"{\"access_token\":\"SECRET\",\"scope\":\"x\"}","path":"/"})",
        "<rsp stat=\"ok\"><auth_code>SECRET</auth_code><code_verifier a='b'>SECRET</code_verifier></rsp>",
        "<auth_code>\n  SECRET\n</auth_code><code_verifier><![CDATA[<SECRET]]></code_verifier>",
        "authCode : SECRET",
        "key : auth_code. value : SECRET\nSECRET",
        "key : code, vlaue : SECRET",
        "key:x-kc-access-token, value : SECRET",
        "name : code_verifier, text : SECRET",
        "body : code=SECRET&client_id=58hq27rnez&code_verifier=SECRET",
        "https://a.example/?refresh_token=SECRET&x=1",
        "Authorization: Bearer SECRET\r\nx-kc-access-token: SECRET\r\nHost: a.example",
        "sent bearer SECRET, refused",
    };
    for (const std::string& message : messages) {
        const std::string masked = Masker().Mask(WithSecret(message));
        EXPECT_THAT(masked, Not(HasSubstr("Secret"))) << message;
        EXPECT_EQ(Masker().Mask(masked), masked);
    }
    EXPECT_EQ(Masker().Mask(R"({"accessToken":1234567,"scope":"x"})"),
              R"({"accessToken":... (7 characters),"scope":"x"})");
    EXPECT_EQ(Masker().Mask(WithSecret("a=1&access_token=SECRET&b=2")),
              "a=1&access_token=Zq9x... (22 characters)&b=2");
}

TEST(Masker, LeavesWhatIsNoSecret) {
    const std::string messages[] = {
        "key : code, value : Zq9x... (22 characters)\n",
        "error code : 200",
        "result code=",
        "the code=5 of the result",
        "fail to get auth_code",
        "key : kap_auth_domain. value : authorisation.example",
        R"({"dvcId":"8637d8720f9ef08c49b2810dd1bef3d4","access_token":null,"refresh_token_expires_in":86400})",
        "IN >> [std::string CAccessToken::GetAccessToken()(44)]",
        "IN >> [void CAuthCode::Parse(const string&)(40)]",
        "User-Agent: SIM-TV-55;1001.2;bt-orbmanager=1.0.0;Tizen=8.0;",
        "accessToken : {}",
        "authCode : <rsp stat=\"fail\"></rsp>",
    };
    for (const std::string& message : messages) {
        EXPECT_EQ(Masker().Mask(message), message);
    }
}

TEST(Masker, MasksWhatIsStoredWhereverItStands) {
    const Masker masker({SECRET, SECRET + "99", "short"});
    EXPECT_EQ(masker.Mask(WithSecret("it was SECRET.")), "it was Zq9x... (22 characters).");
    EXPECT_EQ(masker.Mask(WithSecret("SECRET99SECRET")), "Zq9x... (24 characters)Zq9x... (22 characters)");
    EXPECT_EQ(masker.Mask(WithSecret("accessToken : SECRET")), "accessToken : Zq9x... (22 characters)");
    EXPECT_EQ(masker.Mask("a short text"), "a short text");
}

TEST(Masker, TakesNoLongerForATextThatIsMadeToTakeLong) {
    for (const std::string piece : {"\\", R"("access_token":")", "<auth_code>", "<auth_code ", "key : code. ",
                                    "code=", "Bearer ", R"({"accessToken":[)", R"("access_token")", " "}) {
        std::string text;
        while (text.size() < 2'000'000) {
            text += piece;
        }
        EXPECT_FALSE(Masker().Mask(text).empty());
    }
    // A long value is not let through for being long.
    const std::string secret(2'000'000, 'x');
    for (const std::string start :
         {R"({"access_token":")", "<auth_code>", "key : code, value : ", "Authorization: "}) {
        EXPECT_EQ(Masker().Mask(start + secret), start + "xxxx... (2000000 characters)");
    }
}
