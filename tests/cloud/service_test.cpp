#include "Cli/Json.h"
#include "Cloud/Protocol/Endpoints.h"
#include "Cloud/State/Crypto.h"
#include "Files.h"
#include "cloud_folder.h"

namespace LocalCloud {
namespace {

constexpr char ACTIVATION[] =
    R"({"device":{"deviceIds":{"cdid":"0123456789ABCDEF0123456789ABCDEF"},"deviceType":"10","model":"M","osType":2,)"
    R"("osVersion":"6.5"},"service":{"package":{"packageVersion":"1.0.0","packageVersionCode":"1.0.0"}}})";

class ServiceTest : public CloudTest {
protected:
    httplib::Request Request(const std::string& body) {
        httplib::Request request;
        request.body = body;
        request.headers = {{"User-Agent", "M;B;bt-orbmanager=1.0.0;Tizen=6.5;"},
                           {"x-kc-uid", tokens.UserId(ANN)},
                           {"x-kc-access-token", access},
                           {"x-kc-app-id", "58hq27rnez"},
                           {"Content-Type", "application/json; charset=UTF-8"},
                           {"Content-Length", std::to_string(body.size())}};
        return request;
    }

    static httplib::Request DownloadRequest(const std::string& token, const httplib::Params& params) {
        httplib::Request request;
        request.headers = {{"User-Agent", "M;B;bt-orbmanager=1.0.0;Tizen=6.5; ;"},
                           {"Authorization", "Bearer " + token}};
        request.params = params;
        return request;
    }

    static int ResultCodeOf(const Answer& answer) {
        return Cli::ParseObject(answer.body, "answer")["rcode"].asInt();
    }

    std::string AppToken() {
        const auto activation =
            Cli::ParseObject(Ask(cloud, "activation", Request(ACTIVATION)).body, "answer");
        auto request = Request("");
        request.headers.emplace("x-kc-dvc-id", Cli::StringMember(activation, "dvcId"));
        return Cli::StringMember(Cli::ParseObject(Ask(cloud, "app", request).body, "answer"), "accessToken");
    }

    Cloud cloud{folder, [this] { return now * 1000; }};
    TokenStore& tokens = cloud.tokens;
    const std::string access = tokens.Issue(ANN).access;
};

TEST_F(ServiceTest, ActivationRefusesWrongHeadersAndBodies) {
    const std::pair<const char*, int> headers[] = {
        {"User-Agent", 4000001},  {"x-kc-uid", 4030001},     {"x-kc-access-token", 4010001},
        {"x-kc-app-id", 4000001}, {"Content-Type", 4000001}, {"Content-Length", 4000001}};
    for (const auto& [name, code] : headers) {
        auto request = Request(ACTIVATION);
        request.headers.find(name)->second = "wrong";
        EXPECT_EQ(ResultCodeOf(Ask(cloud, "activation", request)), code) << name;
    }
    const std::string good = ACTIVATION;
    const std::pair<const char*, const char*> edits[] = {
        {R"("osType":2)", R"("osType":"2")"}, {R"("10")", "10"}, {R"(DEF")", R"(def")"}, {R"("6.5")", "6.5"},
        {R"("package":{)", R"("other":{)"},   {"}}}", "}}"}};
    for (const auto& [from, to] : edits) {
        const std::string body = std::string(good).replace(good.find(from), std::string(from).size(), to);
        EXPECT_EQ(ResultCodeOf(Ask(cloud, "activation", Request(body))), 4000001) << body;
    }
    EXPECT_EQ(ResultCodeOf(Ask(cloud, "activation", Request(good))), 0);
}

TEST_F(ServiceTest, DeviceIdBelongsToOneUserAndLapses) {
    const std::string id = tokens.DeviceId(ANN, "C");
    EXPECT_EQ(tokens.DeviceId(ANN, "C"), id);
    EXPECT_NE(tokens.DeviceId("ben", "C"), id);
    now = tokens.Give(Holding::ACTIVATION, ANN, id)["expires"].asInt64();
    EXPECT_EQ(tokens.OwnerOf(Holding::ACTIVATION, id), ANN);
    now += 1;
    EXPECT_EQ(tokens.OwnerOf(Holding::ACTIVATION, id), std::nullopt);
    auto request = Request("");
    request.headers.emplace("x-kc-dvc-id", "unknown");
    request.headers.find("x-kc-access-token")->second = tokens.Issue(ANN).access;
    EXPECT_EQ(ResultCodeOf(Ask(cloud, "app", request)), 4030002);
}

TEST_F(ServiceTest, AppTokenIsTakenOnlyAsItWasGiven) {
    const std::string token = AppToken();
    const auto dot = token.find('.');
    const auto claims =
        Cli::ParseObject(Base64UrlDecode(token.substr(dot + 1, token.rfind('.') - dot - 1)), "claims");
    EXPECT_EQ(claims["preferred_username"], ANN);
    EXPECT_EQ(claims["exp"], Json::Int64(now + 86400));
    for (const std::string& text :
         {token, token + "A", token.substr(0, token.size() - 1), "." + token, access, std::string()}) {
        const Answer answer = Ask(cloud, "download", DownloadRequest(text, {{"table_ver", "1"}}));
        EXPECT_EQ(ResultCodeOf(answer), text == token ? 0 : 4010002) << text;
    }
}

TEST_F(ServiceTest, WhatIsExpiredIsRefusedAtOnceAndAlsoByALaterServer) {
    for (const Holding* kind : HOLDINGS) {
        const TokenPair pair = tokens.Issue(ANN);
        const std::string other = tokens.Issue("ben").access;
        const std::map<const Holding*, std::string> held = {
            {&Holding::ACCESS, pair.access},
            {&Holding::REFRESH, pair.refresh},
            {&Holding::ACTIVATION, tokens.Give(Holding::ACTIVATION, ANN, "device")["token"].asString()},
            {&Holding::APP, tokens.Give(Holding::APP, ANN, "ticket")["token"].asString()}};
        EXPECT_GE(tokens.Expire(*kind, ANN), 1) << kind->name;
        EXPECT_EQ(tokens.Expire(*kind, ANN), 0) << kind->name;
        TokenStore restarted(folder, [this] { return now * 1000; });
        for (const auto& [holding, token] : held) {
            for (TokenStore* store : {&tokens, &restarted}) {
                EXPECT_EQ(store->OwnerOf(*holding, token).has_value(), holding != kind)
                    << holding->name << " after " << kind->name;
            }
        }
        EXPECT_TRUE(tokens.OwnerOf(Holding::ACCESS, other));
    }
}

TEST_F(ServiceTest, DownloadRefusesQueriesThatMakeNoSenseAndTokensThatEnded) {
    const std::string token = AppToken();
    const httplib::Params cases[] = {
        {},
        {{"table_ver", "2"}},
        {{"table_ver", "1"}, {"table_ver", "1"}},
        {{"table_ver", "1"}, {"other", "1"}},
        {{"table_ver", "1"}, {"coldStartable", "true"}},
        {{"table_ver", "1"}, {"changed_after", "5"}},
        {{"table_ver", "1"}, {"changed_after", "0"}, {"coldStartable", "true"}},
        {{"table_ver", "1"}, {"changed_after", "5x"}, {"coldStartable", "true"}}};
    for (const auto& params : cases) {
        EXPECT_EQ(ResultCodeOf(Ask(cloud, "download", DownloadRequest(token, params))), 4000001);
    }
    EXPECT_EQ(Ask(cloud, "download", DownloadRequest(token, {{"table_ver", "1"}})).status, 200);
    now += 86401;
    EXPECT_EQ(Ask(cloud, "download", DownloadRequest(token, {{"table_ver", "1"}})).status, 401);
}

TEST_F(ServiceTest, LoginsBecomeFileNamesThatLeadNowhereElse) {
    for (const char* login : {"../up", ".", "a/b", "a%2Fb", "\xc3\xa4 b+c@d"}) {
        EXPECT_TRUE(users.Add(login)) << login;
        EXPECT_EQ(FileNameOfLogin(login).find('/'), std::string::npos);
        EXPECT_NE(FileNameOfLogin(login)[0], '.');
    }
    EXPECT_EQ(users.List().size(), 6U);
    for (const std::string& login :
         {std::string(), std::string("a\nb"), std::string("\xff"), std::string(300, 'a')}) {
        EXPECT_FALSE(IsLogin(login)) << login;
    }
}

}  // namespace
}  // namespace LocalCloud
