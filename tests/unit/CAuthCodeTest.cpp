#include "AuthData/CAuthCode.h"
#include "ServiceTest.h"

using ::testing::ElementsAre;

namespace {

class CAuthCodeTest : public ServiceTest {
protected:
    std::string Element(const std::string& name) const {
        return m_code.GetAuthCodeElement(name);
    }

    CAuthCode m_code;
};

}  // namespace

TEST_F(CAuthCodeTest, RefusedDocumentIsNotStored) {
    const std::pair<std::string, std::string> cases[] = {
        {"<rsp stat='ok'><auth_code>A</rsp>", "fail to parse xml"},
        {"<rsp stat='OK'><auth_code>A</auth_code></rsp>", "server return failed."},
    };
    for (const auto& [document, failure] : cases) {
        SCOPED_TRACE(document);
        EXPECT_EQ(Failure([&, &text = document] { m_code.ImportAuthCode(text); }), failure);
        EXPECT_EQ(Failure([&] { Element("auth_code"); }), "fail to read");
    }
    EXPECT_EQ(Stored("InfoSyncAuthCode"), "nothing stored");
}

TEST_F(CAuthCodeTest, DocumentIsStoredByteForByteAndReadBack) {
    const std::string document =
        "<?xml version=\"1.0\"?>\n<rsp stat=\"ok\">\n <auth_code> A&amp;B </auth_code>\n"
        " <auth_code>second</auth_code><kap_api_domain>api</kap_api_domain>"
        "<kap_auth_domain>auth</kap_auth_domain></rsp>\n\n";
    m_code.ImportAuthCode(document);
    EXPECT_EQ(Stored("InfoSyncAuthCode"), document);
    CAuthCode later;
    later.Init();
    EXPECT_EQ(later.GetAuthCodeElement("auth_code"), " A&B ");
    EXPECT_EQ(later.GetKapApiDomain(), "api");
    EXPECT_EQ(later.GetKapAuthDomain(), "auth");
}

TEST_F(CAuthCodeTest, ResetForgetsWhatParseBringsBack) {
    const std::string document = "<rsp stat='ok'><auth_code>A</auth_code></rsp>";
    m_code.Parse(document);
    m_code.Parse("<rsp stat='ok'><auth_code>B</auth_code></rsp>");
    EXPECT_EQ(Element("auth_code"), "A");
    m_code.Reset();
    EXPECT_EQ(Failure([&] { Element("auth_code"); }), "fail to read");
    EXPECT_THAT(Fake::Logged(DLOG_ERROR), ElementsAre("fail to get auth_code"));
    m_code.Parse(document);
    EXPECT_EQ(Element("auth_code"), "A");
    EXPECT_THAT(Fake::Logged(DLOG_INFO),
                ::testing::IsSupersetOf({"authCode : " + document, std::string("name : auth_code, text : A"),
                                         std::string("key : auth_code. value : A")}));
}

TEST_F(CAuthCodeTest, InitWithoutAStoredDocumentLeavesNothing) {
    m_code.Parse("<rsp stat='ok'><auth_code>A</auth_code></rsp>");
    EXPECT_EQ(Failure([&] { m_code.Init(); }), "CKMC error, fail to get data");
    EXPECT_EQ(Failure([&] { Element("auth_code"); }), "fail to read");
}
