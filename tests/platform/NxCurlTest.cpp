#include <NxCurl.h>

#include "Television.h"

using ::testing::HasSubstr;
using ::testing::Not;
using namespace std::string_literals;

using NxCurlTest = Television;

TEST_F(NxCurlTest, RequestThatMustNotGoOutIsRefusedAndSaysWhy) {
    struct Case {
        std::string url;
        std::list<std::string> headers;
        std::string reason;
    };
    const Case cases[] = {
        {"http://127.0.0.1:1/a?token=SECRET", {}, "http://127.0.0.1:1/a: Unsupported protocol"},
        {"file:///etc/passwd", {}, "Unsupported protocol"},
        {"", {}, "URL"},
        {"https://127.0.0.1:1/a?b\r\nX: SECRET", {}, "a line break in the URL"},
        {"https://127.0.0.1:1/", {"A: b\r\nX: SECRET"}, "a header line with a line break in it"},
        {"https://127.0.0.1:1/", {"A: b", "A: \nSECRET"}, "a header line with a line break in it"},
        {"https://127.0.0.1:1/", {"A: b\0SECRET"s}, "a header line with a line break in it"},
        {"https://127.0.0.1:1/", {"SECRET"}, "without a colon"},
        {"https://127.0.0.1:1/a?token=SECRET", {"Authorization: Bearer SECRET"}, "connect"},
    };
    for (const Case& c : cases) {
        NxCurlEasy client;
        ASSERT_TRUE(client.Initialize());
        client.setOption(NXCURL_OPTION_URL, c.url);
        client.setOption(NXCURL_OPTION_HTTPHEADER, c.headers);
        EXPECT_FALSE(client.send()) << c.reason;
        long status = 42;
        EXPECT_FALSE(client.getInfo(NXCURL_INFO_RESPONSE_CODE, &status));
        EXPECT_EQ(status, 42);
        const std::string log = Logged();
        EXPECT_THAT(log, HasSubstr("E/NXCURL  (PID): "));
        EXPECT_THAT(log, HasSubstr(c.reason));
        EXPECT_THAT(log, Not(HasSubstr("SECRET")));
    }
}

TEST_F(NxCurlTest, OptionsOfTheWrongTypeAndLaxVerificationAreRefused) {
    NxCurlEasy client;
    ASSERT_TRUE(client.Initialize());
    EXPECT_TRUE(client.setOption(NXCURL_OPTION_SSL_VERIFYPEER, 1L));
    EXPECT_FALSE(client.setOption(NXCURL_OPTION_SSL_VERIFYPEER, 0L));
    EXPECT_FALSE(client.setOption(NXCURL_OPTION_URL, 1L));
    EXPECT_FALSE(client.setOption(NXCURL_OPTION_POST, std::string("1")));
    EXPECT_FALSE(client.setOption(NXCURL_OPTION_URL, std::list<std::string>()));
    EXPECT_FALSE(client.send());
}

TEST_F(NxCurlTest, BodyShorterThanItsSizeIsNotReadBeyondItsEnd) {
    NxCurlEasy client;
    ASSERT_TRUE(client.Initialize());
    client.setOption(NXCURL_OPTION_URL, "https://127.0.0.1:1/"s);
    client.setOption(NXCURL_OPTION_POST, 1L);
    client.setOption(NXCURL_OPTION_POSTFIELDS, "body"s);
    client.setOption(NXCURL_OPTION_POSTFIELDSIZE, 5L);
    EXPECT_FALSE(client.send());
    EXPECT_THAT(Logged(), HasSubstr("shorter than the size"));
}

TEST_F(NxCurlTest, QueriesAreEscapedAndJoined) {
    std::string query;
    NxCurlUtility::makeQueryString(query, "table_ver", "1");
    NxCurlUtility::makeQueryString(query, "a b", "\xC3\xA9&=%/\0~"s);
    EXPECT_EQ(query, "table_ver=1&a%20b=%C3%A9%26%3D%25%2F%00~");
    EXPECT_EQ(NxCurlUtility::makeUri("https://a.example/b", query), "https://a.example/b?" + query);
    EXPECT_EQ(NxCurlUtility::makeUri("/b", ""), "/b");
}

TEST_F(NxCurlTest, OnlyAnHttpsSchemeIsHttps) {
    for (const auto& [url, isHttps] :
         {std::pair("https://a", true), std::pair("HTTPS://a", true), std::pair("http://a", false),
          std::pair("https:/a", false), std::pair("/https://a", false), std::pair("", false)}) {
        EXPECT_EQ(NxCurlUtility::checkIsHttps(url), isHttps) << url;
    }
}

TEST_F(NxCurlTest, LocalCloudIsFoundWhereItListensNow) {
    const auto ask = [this] {
        NxCurlEasy client;
        client.Initialize();
        client.setOption(NXCURL_OPTION_URL, "https://auth.quorlen.example/"s);
        EXPECT_FALSE(client.send());
        return Logged();
    };
    SetIni("[http]\ncloud=cloud\n");
    EXPECT_THAT(ask(), HasSubstr("does not run: infosync-cloud serve --dir '" + File("cloud").string()));
    for (const char* port : {"1", "2"}) {
        Put("cloud/state/server.json", R"({"pid" : 5, "port" : )"s + port + "}");
        EXPECT_THAT(ask(), HasSubstr("127.0.0.1 port "s + port));
    }
    SetIni("[http]\ncloud=cloud\nconnect_to=::127.0.0.1:3\n");
    EXPECT_THAT(ask(), HasSubstr("port 3"));
}
