#include <gmock/gmock.h>

#include "Television/Secrets.h"
#include "Util/SecurityUtil.h"

using Television::MaskLogLine;
using Television::WithoutSecrets;
using testing::HasSubstr;
using testing::Not;

namespace {

const std::string SECRET = "Zq9xSecretSecretSecret";

}  // namespace

TEST(Secrets, NoFormOfALoggedSecretIsPassedOnWhole) {
    const std::string lines[] = {
        R"(accessToken : {"rsp":{"result":{"access_token":"SECRET","refresh_token":"SECRET"}}})",
        R"(    "accessToken" : "SECRET",)",
        R"(cut off "refresh_token":"SECRET)",
        "authCode : <rsp><auth_code>SECRET</auth_code><code_verifier>SECRET</code_verifier></rsp>",
        "name : code_verifier, text : SECRET",
        "key : auth_code. value : SECRET",
        "key:x-kc-access-token, value : SECRET",
        "key : Authorization, vlaue : SECRET",
        "body : code=SECRET&client_id=58hq27rnez&code_verifier=SECRET",
        "body : refresh_token=SECRET&client_id=58hq27rnez",
        "Authorization: Bearer SECRET",
        "x-kc-access-token: SECRET",
    };
    for (std::string line : lines) {
        for (std::size_t at = line.find("SECRET"); at != std::string::npos;
             at = line.find("SECRET", at + 1)) {
            line.replace(at, 6, SECRET);
        }
        EXPECT_THAT(MaskLogLine(line), Not(HasSubstr(SECRET))) << line;
        EXPECT_THAT(MaskLogLine(line), HasSubstr("Zq9x... (22 characters)")) << line;
    }
    for (const std::string line :
         {"error code : 200", "result code=", "key : kap_auth_domain. value : a.example"}) {
        EXPECT_EQ(MaskLogLine(line), line);
    }
}

TEST(Secrets, OnlyWhatIsKnownToBeHarmlessStaysInAnExportedRecord) {
    struct Case {
        std::string alias;
        std::string record;
        std::string expected;
    };
    const std::string xml =
        "<?xml version=\"1.0\"?><!-- x --><rsp stat=\"ok\" id=\"1\"><auth_code>abc</auth_code>"
        "<kap_api_domain>a.example</kap_api_domain><other>x</other></rsp>";
    const Case cases[] = {
        {InfoSyncUtil::ALIAS_ACCESS_TOKEN,
         R"({"ann":{"access_token":"abc","id_token":"ab","scope":"s","n":[{"x":"y"}],"issued_time_in_second":5}})",
         R"({"ann":{"access_token":"replaced-3-characters","id_token":"replaced-2-characters","issued_time_in_second":5,)"
         R"("n":[{"x":"replaced-1-characters"}],"scope":"s"}})"},
        {InfoSyncUtil::ALIAS_JWT, R"({"ann":{"accessToken":12345,"rcode":0}})",
         R"({"ann":{"accessToken":"replaced-5-characters","rcode":0}})"},
        {InfoSyncUtil::ALIAS_JWT, R"({"ann":{"accessToken":"cut)", "replaced-26-characters"},
        {InfoSyncUtil::ALIAS_RECORDS, R"({"ann":{"records":[{"name":"x"}]}})",
         R"({"ann":{"records":[{"name":"x"}]}})"},
        {InfoSyncUtil::ALIAS_AUTH_CODE, xml,
         "<rsp "
         "stat=\"ok\"><auth_code>replaced-3-characters</auth_code><kap_api_domain>a.example</kap_api_domain>"
         "<other>replaced-1-characters</other></rsp>"},
        {InfoSyncUtil::ALIAS_AUTH_CODE, "no xml", "replaced-6-characters"},
        {"SomethingElse", "secret", "replaced-6-characters"},
    };
    for (const auto& [alias, record, expected] : cases) {
        EXPECT_EQ(WithoutSecrets(alias, record), expected) << alias << " " << record;
    }
}
