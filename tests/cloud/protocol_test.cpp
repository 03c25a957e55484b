#include <algorithm>
#include <iterator>
#include <map>

#include "Cloud/State/Crypto.h"
#include "cloud_folder.h"

namespace LocalCloud {
namespace {

// RFC 7636, appendix B.
constexpr char VERIFIER[] = "dBjftJeZ4CVP-mB92K27uhbUJU1p1r_wW1gFWFOEjXk";
constexpr char CODE_OF_ANN[] = "lc1.YW5uQGV4YW1wbGUuY29t.E9Melhoa2OwvFrEMTJguCHaoeK1t8URWbuGJSstw-cM.";
constexpr char ACTIVATION[] =
    R"({"device":{"deviceIds":{"cdid":"0123456789ABCDEF0123456789ABCDEF"},"deviceType":"10","model":"M","osType":2,)"
    R"("osVersion":"6.5"},"service":{"package":{"packageVersion":"1.0.0","packageVersionCode":"1.0.0"}}})";

class ProtocolTest : public CloudTest {
protected:
    static httplib::Request Request(const std::string& body, httplib::Headers headers) {
        httplib::Request request;
        request.body = body;
        request.headers = std::move(headers);
        request.headers.emplace("Content-Length", std::to_string(body.size()));
        return request;
    }

    static httplib::Request FormRequest(const std::string& body) {
        return Request(body, {{"Content-Type", "application/x-www-form-urlencoded; charset=utf-8"},
                              {"Package-Name", "com.quorlen.tv.bt-orbmanager"},
                              {"Package-Version", "1.0.0"},
                              {"Client-OS-Verseion", "Tizen 6.5"},
                              {"Client-Model", "Ostra9"}});
    }

    static httplib::Request TokenRequest(const std::string& nonce) {
        return FormRequest(std::string("code=") + CODE_OF_ANN + nonce +
                           "&client_id=58hq27rnez&auth_server_url=auth&code_verifier=" + VERIFIER);
    }

    httplib::Request ServiceRequest(const std::string& body) {
        return Request(body, {{"User-Agent", "M;B;bt-orbmanager=1.0.0;Tizen=6.5;"},
                              {"x-kc-uid", tokens.UserId(ANN)},
                              {"x-kc-access-token", access},
                              {"x-kc-app-id", "58hq27rnez"},
                              {"Content-Type", "application/json; charset=UTF-8"}});
    }

    httplib::Request Good(const std::string& endpoint) {
        return endpoint == "token" ? TokenRequest("n") : ServiceRequest(ACTIVATION);
    }

    Json::Value Ask(const std::string& name, const httplib::Request& request) {
        const auto* endpoint = std::find_if(std::begin(ENDPOINTS), std::end(ENDPOINTS),
                                            [&](const Endpoint& each) { return name == each.name; });
        const Answer answer = AnswerTo(*endpoint, cloud, request);
        Json::Value body = Cli::ParseObject(answer.body, "answer");
        const bool isRefused =
            body.isMember("rsp") ? body["rsp"]["stat"] != "ok" : body["rcode"].asInt() != 0;
        EXPECT_EQ(answer.status != 200, isRefused) << answer.body;
        return body;
    }

    /** The error or the result code; "none" where there is an answer. */
    std::string Refusal(const std::string& name, const httplib::Request& request) {
        const Json::Value body = Ask(name, request);
        const Json::Value code = body.isMember("rsp") ? body["rsp"]["error"] : body["rcode"];
        return code.isNull() || code == 0 ? "none" : code.asString();
    }

    Json::Value Refresh(const std::string& token) {
        return Ask("refresh", FormRequest("refresh_token=" + token +
                                          "&client_id=58hq27rnez&auth_server_url=auth"))["rsp"];
    }

    std::string SignIn(const std::string& nonce) {
        return Ask("token", TokenRequest(nonce))["rsp"]["result"]["refresh_token"].asString();
    }

    std::string AppToken() {
        auto request = ServiceRequest("");
        request.headers.emplace("x-kc-dvc-id",
                                Ask("activation", ServiceRequest(ACTIVATION))["dvcId"].asString());
        return Ask("app", request)["accessToken"].asString();
    }

    std::string Download(const std::string& token, const httplib::Params& params = {{"table_ver", "1"}}) {
        httplib::Request request;
        request.headers = {{"User-Agent", "M;B;bt-orbmanager=1.0.0;Tizen=6.5; ;"},
                           {"Authorization", "Bearer " + token}};
        request.params = params;
        return Refusal("download", request);
    }

    const std::string access = tokens.Issue(ANN).access;
};

TEST_F(ProtocolTest, WrongBodiesAndHeadersAreRefusedWithTheirCode) {
    for (const auto& [endpoint, from, to, code] :
         Rows<4>("tables.txt", "an edit of a good body and what it is refused with")) {
        auto request = Good(endpoint);
        request.body.replace(request.body.find(from), from.size(), to);
        request.headers.find("Content-Length")->second = std::to_string(request.body.size());
        EXPECT_EQ(Refusal(endpoint, request), code) << request.body;
    }
    EXPECT_EQ(Refusal("token", FormRequest("")), "invalid_request");
    for (const auto& [endpoint, name, value, code] :
         Rows<4>("tables.txt", "a header, its value, none where it is missing, and the refusal")) {
        auto request = Good(endpoint);
        request.headers.erase(name);
        if (!value.empty()) {
            request.headers.emplace(name, value);
        }
        EXPECT_EQ(Refusal(endpoint, request), code) << name;
    }
    for (const char* endpoint : {"token", "activation"}) {
        EXPECT_EQ(Refusal(endpoint, Good(endpoint)), "none");
    }
}

TEST_F(ProtocolTest, CodeWorksOnceEvenAfterARestart) {
    EXPECT_EQ(Refusal("token", TokenRequest("n")), "none");
    EXPECT_EQ(Refusal("token", TokenRequest("n")), "invalid_grant");
    Cloud restarted(folder, clock);
    EXPECT_NE(AnswerTo(ENDPOINTS[0], restarted, TokenRequest("n")).body.find("invalid_grant"),
              std::string::npos);
}

TEST_F(ProtocolTest, RefreshTokenStaysGoodUntilTheNextOneIsUsed) {
    const auto next = [this](const std::string& token) {
        return Refresh(token)["result"]["refresh_token"].asString();
    };
    const std::string first = SignIn("n");
    const std::string lost = next(first);
    const std::string second = next(first);
    EXPECT_EQ(Refresh(lost)["error"], "invalid_grant");
    const std::string third = next(second);
    EXPECT_EQ(Refresh(first)["error"], "invalid_grant");
    EXPECT_EQ(Refresh(third)["stat"], "ok");
}

TEST_F(ProtocolTest, TokensEndAfterTheirLastSecondOrWithTheirUser) {
    const std::string refresh = SignIn("n");
    const std::string app = AppToken();
    now += 3600;
    EXPECT_EQ(tokens.OwnerOf(Holding::ACCESS, access), ANN);
    now += 1;
    EXPECT_EQ(tokens.OwnerOf(Holding::ACCESS, access), std::nullopt);
    now += 86400 - 3601;
    EXPECT_EQ(Download(app), "none");
    now += 1;
    EXPECT_EQ(Download(app), "4010002");
    now += 2'592'000;
    EXPECT_EQ(Refresh(refresh)["error"], "invalid_grant");
    const std::string orphan = SignIn("m");
    Files::Remove(folder.RecordsFile(ANN));
    EXPECT_EQ(Refresh(orphan)["error"], "access_denied");
}

TEST_F(ProtocolTest, DeviceIdBelongsToOneUserAndLapses) {
    const std::string id = tokens.DeviceId(ANN, "C");
    EXPECT_EQ(tokens.DeviceId(ANN, "C"), id);
    EXPECT_NE(tokens.DeviceId("ben", "C"), id);
    auto request = ServiceRequest("");
    request.headers.emplace("x-kc-dvc-id", "unknown");
    EXPECT_EQ(Refusal("app", request), "4030002");
    now = tokens.Give(Holding::ACTIVATION, ANN, id)["expires"].asInt64();
    EXPECT_EQ(tokens.OwnerOf(Holding::ACTIVATION, id), ANN);
    now += 1;
    EXPECT_EQ(tokens.OwnerOf(Holding::ACTIVATION, id), std::nullopt);
}

TEST_F(ProtocolTest, AppTokenIsTakenOnlyAsItWasGiven) {
    const std::string token = AppToken();
    const auto dot = token.find('.');
    const auto claims =
        Cli::ParseObject(Base64UrlDecode(token.substr(dot + 1, token.rfind('.') - dot - 1)), "claims");
    EXPECT_EQ(claims["preferred_username"], ANN);
    EXPECT_EQ(claims["exp"], Json::Int64(now + 86400));
    for (const std::string& text :
         {token, token + "A", token.substr(0, token.size() - 1), "." + token, access, std::string()}) {
        EXPECT_EQ(Download(text), text == token ? "none" : "4010002") << text;
    }
}

TEST_F(ProtocolTest, WhatIsExpiredIsRefusedAtOnceByEveryProcess) {
    for (const Holding* kind : HOLDINGS) {
        const TokenPair pair = tokens.Issue(ANN);
        const std::string other = tokens.Issue("ben").access;
        const std::map<const Holding*, std::string> held = {
            {&Holding::ACCESS, pair.access},
            {&Holding::REFRESH, pair.refresh},
            {&Holding::ACTIVATION, tokens.Give(Holding::ACTIVATION, ANN, "device")["token"].asString()},
            {&Holding::APP, tokens.Give(Holding::APP, ANN, "ticket")["token"].asString()}};
        TokenStore command(folder, clock);
        EXPECT_GE(command.Expire(*kind, ANN), 1) << kind->name;
        EXPECT_EQ(tokens.Expire(*kind, ANN), 0) << kind->name;
        for (const auto& [holding, token] : held) {
            for (TokenStore* store : {&tokens, &command}) {
                EXPECT_EQ(store->OwnerOf(*holding, token).has_value(), holding != kind)
                    << holding->name << " after " << kind->name;
            }
        }
        EXPECT_TRUE(tokens.OwnerOf(Holding::ACCESS, other));
    }
}

TEST_F(ProtocolTest, DownloadRefusesQueriesThatMakeNoSense) {
    const std::string token = AppToken();
    for (const auto& [query] : Rows<1>("tables.txt", "a query that makes no sense")) {
        httplib::Params params;
        httplib::detail::parse_query_text(query, params);
        EXPECT_EQ(Download(token, params), "4000001") << query;
    }
    EXPECT_EQ(Download(token, {}), "4000001");
    EXPECT_EQ(Download(token, {{"table_ver", "1"}, {"table_ver", "1"}}), "4000001");
}

TEST_F(ProtocolTest, LoginsBecomeFileNamesThatLeadNowhereElse) {
    for (const char* login : {"../up", ".", "a/b", "a%2Fb", "\xc3\xa4 b+c@d"}) {
        EXPECT_TRUE(cloud.users.Add(login)) << login;
        EXPECT_EQ(FileNameOfLogin(login).find('/'), std::string::npos);
        EXPECT_NE(FileNameOfLogin(login)[0], '.');
    }
    EXPECT_EQ(cloud.users.List().size(), 6U);
    for (const auto& login :
         {std::string(), std::string("a\nb"), std::string("\xff"), std::string(300, 'a')}) {
        EXPECT_FALSE(IsLogin(login)) << login;
    }
}

}  // namespace
}  // namespace LocalCloud
