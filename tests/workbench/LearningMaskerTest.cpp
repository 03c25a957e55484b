#include <gmock/gmock.h>

#include "Television/Masker.h"

using Television::Masker;
using testing::HasSubstr;
using testing::Not;

namespace {

const std::string SECRET = "Zq9xSecretSecretSecret";

/** The text with the secret wherever the word stands for it. */
std::string With(const std::string& secret, std::string text) {
    for (std::size_t at = text.find("SECRET"); at != std::string::npos; at = text.find("SECRET", at + 1)) {
        text.replace(at, 6, secret);
    }
    return text;
}

/** The same with another secret each time, so that none is masked for having been learned before. */
std::string WithSecrets(std::string text, char& next) {
    for (std::size_t at = text.find("SECRET"); at != std::string::npos; at = text.find("SECRET", at + 1)) {
        text.replace(at, 6, "Zq9" + std::string(1, next++) + SECRET.substr(4));
    }
    return text;
}

}  // namespace

TEST(LearningMasker, MasksASecretInEveryFormThatALogHasItIn) {
    const std::vector<std::string> entries[] = {
        {R"(accessToken : {"rsp":{"result":{"access_token":"SECRET","refresh_token":"SECRET"}}})"},
        {R"(    "accessToken" : "SECRET",)"},
        {R"({"accessToken":"SECRET)"},
        {R"({"access_token" : )", R"("SECRET")", "}"},
        {R"({"access_token")", R"(: "SECRET"})"},
        {R"({"access_token":"SECRET)", R"(SECRET","rcode":0})", R"({"accessToken":"SECRET"})"},
        {R"(ill-formed "refresh_token":"SECRET"SECRET", "refresh_token":"SECRET")"},
        {R"(he said " {"access_token":"SECRET"})"},
        {R"("in the middle","access_token":"SECRET"})"},
        {R"({"unknown":"SECRET","list":["SECRET",{"name":"x"},"SECRET"],"deep":{"er":[["SECRET"]]}})"},
        {R"({"users":[)", R"(  "ann"], "unknown":)", R"(["SECRET"])"},
        {R"(data:["SECRET"])"},
        {"authCode : <rsp><auth_code>SECRET</auth_code><code_verifier>SECRET</code_verifier></rsp>"},
        {"authCode : <?xml version=\"1.0\"?>", "<rsp stat=\"ok\"><auth_code>", " SECRET ", "</auth_code>",
         "<other id=\"SECRET\"><![CDATA[SECRET", "SECRET]]></other><!-- SECRET --></rsp>"},
        {"authCode : SECRET", "SECRET"},
        {"name : code_verifier, text : SECRET"},
        {"name : unknown, text : SECRET"},
        {"key : auth_code. value : SECRET", "SECRET", "key : kap_api_domain. value : a.example"},
        {"key:x-kc-access-token, value : SECRET"},
        {"key : Authorization, vlaue : SECRET"},
        {"body : code=SECRET&client_id=58hq27rnez&code_verifier=SECRET&unknown=SECRET"},
        {"https://a.example/?refresh_token=SECRET&x=1"},
        {"Authorization: Bearer SECRET"},
        {"sent bearer SECRET, refused"},
        {"x-kc-access-token: SECRET"},
    };
    for (const auto& lines : entries) {
        Masker masker;
        char next = 'a';
        for (const std::string& line : lines) {
            const std::string masked = masker.Mask(WithSecrets(line, next), "head");
            EXPECT_THAT(masked, Not(HasSubstr("Secret"))) << line;
            EXPECT_EQ(masked == line, line.find("SECRET") == std::string::npos) << masked;
        }
    }
}

TEST(LearningMasker, LeavesWhatIsNoSecret) {
    const std::string lines[] = {
        "error code : 200",
        "result code=",
        "key : kap_auth_domain. value : authorisation.example",
        "key:auth_api, value : /auth/openapi/v1/oauth2/accesstoken",
        R"({"dvcId":"8637d8720f9ef08c49b2810dd1bef3d4","expireTime":1827092806000,"rmsg":"a long message"})",
        R"({"records":[{"address":"AA:BB:CC:00:11:22","name":"The kitchen's speaker","unknown":"short"},)",
        R"({"record_id":"7a75e3a019f67a75","uuids":"0000110b-0000-1000-8000-00805f9b34fb"}]})",
        "IN >> [std::vector<std::string> CommonUtil::SplitString(const string&)(10)]",
        "<<Not Error>>Start main loop of the service",
        "User-Agent: SIM-TV-55;1001.2;bt-orbmanager=1.0.0;Tizen=8.0;",
        "Content-Type: application/x-www-form-urlencoded; charset=utf-8",
        "Package-Name: com.quorlen.tv.bt-orbmanager",
        "body : client_id=58hq27rnez&auth_server_url=auth.quorlen.example",
        "https://auth.quorlen.example/auth/openapi: SSL peer certificate or SSH remote key was not OK",
    };
    Masker masker;
    for (const std::string& line : lines) {
        EXPECT_EQ(masker.Mask(line, "head"), line);
    }
}

TEST(LearningMasker, MasksWhatItLearnedWhereverItStands) {
    Masker masker;
    masker.Mask(
        With(SECRET, R"({"access_token":"SECRET","unknown":"SECRETSECRET","refresh_token":"short"})"));
    for (const std::string text : {"SECRET", "it was SECRET.", R"({"name":"SECRET"})", "xSECRETSECRETy",
                                   R"({"rmsg":"SECRET is refused"})"}) {
        EXPECT_THAT(masker.MaskKnown(With(SECRET, text)), Not(HasSubstr(SECRET.substr(4)))) << text;
        EXPECT_THAT(masker.Mask(With(SECRET, text)), Not(HasSubstr(SECRET.substr(4)))) << text;
    }
    EXPECT_EQ(masker.MaskKnown("a short text"), "a short text");
    EXPECT_THAT(masker.MaskKnown("cut off: " + SECRET.substr(0, 12)), Not(HasSubstr("Secret")));
    // The beginning of a token that was cut off is all that was seen of this one.
    masker.Mask(R"({"access_token":"Ab9Ab9Ab)");
    EXPECT_EQ(masker.MaskKnown("token Ab9Ab9Ab9Ab9-._~ more"), "token Ab9A... (16 characters) more");
}

TEST(LearningMasker, KeepsWithinBoundsAndForgetsTheOldest) {
    Masker masker;
    const auto token = [](int number) { return "token-" + std::to_string(1'000'000 + number); };
    for (int i = 0; i < 10'000; ++i) {
        masker.Mask(R"({"access_token":")" + token(i) + R"("})");
    }
    EXPECT_EQ(masker.MaskKnown(token(0)), token(0));
    EXPECT_EQ(masker.MaskKnown(token(9'999)), "... (13 characters)");
    EXPECT_EQ(masker.MaskKnown(token(5'904)), "... (13 characters)");
    // Depth and length cost no more than they have to: these take long, or all memory, where they do.
    for (const std::string piece :
         {"[", "{\"a\":", "\"", "\"a\"b", "<rsp", "a=", "Bearer ", "key : ", "\\"}) {
        std::string text;
        while (text.size() < 1'000'000) {
            text += piece;
        }
        EXPECT_FALSE(masker.Mask(text, "head").empty());
    }
}
