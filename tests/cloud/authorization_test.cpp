#include <stdexcept>

#include "Cli/Json.h"
#include "Cloud/Protocol/Endpoints.h"
#include "Files.h"
#include "cloud_folder.h"

namespace LocalCloud {
namespace {

class AuthorizationTest : public CloudTest {
protected:
    // RFC 7636, appendix B.
    const std::string verifier = "dBjftJeZ4CVP-mB92K27uhbUJU1p1r_wW1gFWFOEjXk";
    const std::string challenge = "E9Melhoa2OwvFrEMTJguCHaoeK1t8URWbuGJSstw-cM";
    const std::string ann = "YW5uQGV4YW1wbGUuY29t";
    const std::string nobody = "bm9ib2R5";

    std::string Code(const std::string& login, const std::string& nonce) const {
        return "lc1." + login + "." + challenge + "." + nonce;
    }

    std::string Form(const std::string& code) const {
        return "code=" + code + "&client_id=58hq27rnez&auth_server_url=auth&code_verifier=" + verifier;
    }

    static httplib::Request Request(const std::string& body) {
        httplib::Request request;
        request.body = body;
        request.headers = {{"Content-Type", "application/x-www-form-urlencoded; charset=utf-8"},
                           {"Content-Length", std::to_string(body.size())},
                           {"Package-Name", "com.quorlen.tv.bt-orbmanager"},
                           {"Package-Version", "1.0.0"},
                           {"Client-OS-Verseion", "Tizen 6.5"},
                           {"Client-Model", "Ostra9"}};
        return request;
    }

    static Json::Value Rsp(const Answer& answer) {
        return Cli::ParseObject(answer.body, "answer")["rsp"];
    }

    static std::string Error(const Answer& answer) {
        return answer.status == 200 ? "none" : Cli::StringMember(Rsp(answer), "error");
    }

    std::string Refresh(const std::string& token, std::string* next = nullptr) {
        const Answer answer =
            Ask(cloud, "refresh",
                Request("refresh_token=" + token + "&client_id=58hq27rnez&auth_server_url=auth"));
        if (next != nullptr) {
            *next = Cli::StringMember(Rsp(answer)["result"], "refresh_token");
        }
        return Error(answer);
    }

    std::string SignIn(const std::string& nonce) {
        return Cli::StringMember(Rsp(Ask(cloud, "token", Request(Form(Code(ann, nonce)))))["result"],
                                 "refresh_token");
    }

    Cloud cloud{folder, [this] { return now * 1000; }};
    TokenStore& tokens = cloud.tokens;
};

TEST_F(AuthorizationTest, RefusesWrongRequestsWithOAuthErrors) {
    const std::string good = Form(Code(ann, "n"));
    const auto with = [&good](const std::string& from, const std::string& to) {
        return std::string(good).replace(good.find(from), from.size(), to);
    };
    const std::pair<std::string, const char*> cases[] = {
        {"", "invalid_request"},
        {with("&auth_server_url=auth", ""), "invalid_request"},
        {with("auth_server_url=auth", "auth_server_url="), "invalid_request"},
        {good + "&more=1", "invalid_request"},
        {with(verifier, "short"), "invalid_request"},
        {with("58hq27rnez", "other"), "invalid_client"},
        {with(verifier, std::string(43, 'w')), "invalid_grant"},
        {with("code=lc1.", "code=lc2."), "invalid_grant"},
        {with("code=lc1.", "code=lc1%2E"), "invalid_grant"},
        {with("code=lc1.", "code=lc1.!"), "invalid_grant"},
        {Form(Code(ann, "")), "invalid_grant"},
        {Form(Code(nobody, "n")), "access_denied"},
    };
    for (const auto& [body, error] : cases) {
        EXPECT_EQ(Error(Ask(cloud, "token", Request(body))), error) << body;
    }
    EXPECT_EQ(Error(Ask(cloud, "token", Request(good))), "none");
}

TEST_F(AuthorizationTest, RefusesRequestsWithoutTheClientsHeaders) {
    for (const auto& [name, value] : Request("").headers) {
        httplib::Request request = Request(Form(Code(ann, "n")));
        request.headers.erase(name);
        EXPECT_EQ(Error(Ask(cloud, "token", request)), "invalid_request") << name;
    }
}

TEST_F(AuthorizationTest, CodeWorksOnceEvenAfterARestart) {
    const auto request = Request(Form(Code(ann, "n")));
    EXPECT_EQ(Error(Ask(cloud, "token", request)), "none");
    EXPECT_EQ(Error(Ask(cloud, "token", request)), "invalid_grant");
    Cloud restarted(folder, [this] { return now * 1000; });
    EXPECT_EQ(Error(Ask(restarted, "token", request)), "invalid_grant");
}

TEST_F(AuthorizationTest, RefreshTokenStaysGoodUntilTheNextOneIsUsed) {
    const std::string first = SignIn("n");
    std::string lost;
    std::string second;
    std::string third;
    EXPECT_EQ(Refresh(first, &lost), "none");
    EXPECT_EQ(Refresh(first, &second), "none");
    EXPECT_EQ(Refresh(lost), "invalid_grant");
    EXPECT_EQ(Refresh(second, &third), "none");
    EXPECT_EQ(Refresh(first), "invalid_grant");
    EXPECT_EQ(Refresh(third), "none");
}

TEST_F(AuthorizationTest, TokensEndAfterTheirLastSecondOrWithTheirUser) {
    const std::string refresh = SignIn("n");
    const std::string access = tokens.Issue(ANN).access;
    now += 3600;
    EXPECT_EQ(tokens.OwnerOf(Holding::ACCESS, access), ANN);
    now += 1;
    EXPECT_EQ(tokens.OwnerOf(Holding::ACCESS, access), std::nullopt);
    now += 2'592'000;
    EXPECT_EQ(Refresh(refresh), "invalid_grant");
    const std::string orphan = SignIn("m");
    Files::Remove(folder.RecordsFile(ANN));
    EXPECT_EQ(Refresh(orphan), "access_denied");
}

TEST_F(AuthorizationTest, DamagedFilesAreErrorsThatNameThem) {
    const std::pair<const char*, const char*> damages[] = {{"state/tokens.json", R"({"refresh":7})"},
                                                           {"state/tokens.json", "{"},
                                                           {"cloud.ini", "[lifetime]\naccess=soon\n"},
                                                           {"cloud.ini", "[lifetime]\naccess=-1\n"}};
    for (const auto& [name, text] : damages) {
        const std::string path = folder.Path() + "/" + name;
        const std::string good = Files::ReadIfThere(path).value_or("{}");
        Files::Replace(path, text);
        try {
            TokenStore(folder).Issue(ANN);
            ADD_FAILURE() << text;
        } catch (const std::runtime_error& error) {
            EXPECT_NE(std::string(error.what()).find(name), std::string::npos) << error.what();
        }
        EXPECT_EQ(Files::Read(path), text);
        Files::Replace(path, good);
    }
}

}  // namespace
}  // namespace LocalCloud
