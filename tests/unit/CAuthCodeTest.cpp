#include "AuthData/CAuthCode.h"
#include "ServiceTest.h"

using CAuthCodeTest = ServiceTest;

TEST_F(CAuthCodeTest, DocumentIsStoredByteForByteAndReadBackUntilReset) {
    const std::string document =
        "<?xml version=\"1.0\"?>\n<rsp stat=\"ok\">\n <auth_code> A&amp;B </auth_code>\n"
        " <auth_code>second</auth_code><kap_api_domain>api</kap_api_domain>"
        "<kap_auth_domain>auth</kap_auth_domain></rsp>\n\n";
    CAuthCode().ImportAuthCode(document);
    EXPECT_EQ(Stored("InfoSyncAuthCode"), document);
    CAuthCode later;
    later.Init();
    EXPECT_EQ(later.GetAuthCodeElement("auth_code"), " A&B ");
    EXPECT_EQ(later.GetKapApiDomain(), "api");
    EXPECT_EQ(later.GetKapAuthDomain(), "auth");
    later.Reset();
    EXPECT_EQ(Failure([&] { later.GetAuthCodeElement("auth_code"); }), "fail to read");
}
