#include <exception>
#include <string>
#include <vector>

#include "AuthData/CAccessToken.h"
#include "AuthData/CJsonWebToken.h"
#include "AuthData/CServiceActivationInfo.h"
#include "Cli/Text.h"
#include "Cli/Time.h"
#include "Television/Status.h"

namespace Television {

namespace {

/** Why something has to be asked for anew. */
std::string Missing(const std::string& name, const Json::Value& state, std::int64_t now) {
    const std::string condition = state["state"].asString();
    if (condition == "expired") {
        return name + " ran out at " + Cli::TimeWords(Cli::Sum(now, state["seconds_left"].asInt64()), now);
    }
    return condition == "none" ? "no " + name + " is stored" : name + ": what is stored is " + condition;
}

void Add(Json::Value& requests, const std::string& request, const std::string& why) {
    Json::Value entry;
    entry["request"] = request;
    entry["why"] = why;
    requests.append(std::move(entry));
}

Json::Value Plan(const Json::Value& requests) {
    std::vector<std::string> words;
    for (const Json::Value& request : requests) {
        const std::string why = request["why"].asString();
        words.push_back(request["request"].asString() + (why.empty() ? "" : " (" + why + ")"));
    }
    Json::Value plan;
    plan["requests"] = requests;
    plan["words"] = Cli::Join(words, ", ");
    return plan;
}

/** The request for a new access token, and why; empty when the stored one is good. */
std::pair<std::string, const char*> TokenRequest(const std::string& user) {
    constexpr char WITH_CODE[] = "token with a new code";
    CAccessToken token;
    token.Init(user);
    try {
        token.ReadFromSecureStorage();
    } catch (const std::exception&) {
        // As the service has it: what cannot be read is no token.
    }
    if (!token.HasTokens() || !token.HasUsableToken()) {
        return {WITH_CODE, "access"};
    }
    if (token.IsRefreshTokenExpired()) {
        return {WITH_CODE, "refresh"};
    }
    return {token.IsTokenExpired() ? "token refresh" : "", "access"};
}

Json::Value FindUser(const Json::Value& status, const std::string& name) {
    for (const Json::Value& user : status["users"]) {
        if (user["user"].asString() == name) {
            return user;
        }
    }
    return {};
}

}  // namespace

Json::Value NextRun(const Json::Value& status, std::int64_t now) {
    const std::string name = status["login_id"].asString();
    const Json::Value user = FindUser(status, name);
    Json::Value requests(Json::arrayValue);
    if (!status["signed_in"].asBool() || name.empty()) {
        Add(requests, "nothing", "nobody is signed in: it waits 20 seconds for that, then ends");
        return Plan(requests);
    }
    if (status["factory_reset_requested"].asBool()) {
        for (const char* request : {"token with a new code", "activation", "application token"}) {
            Add(requests, request, "");
        }
        Add(requests, "download", "of all records: a factory reset comes first");
        return Plan(requests);
    }
    const auto [tokenRequest, kind] = TokenRequest(name);
    if (!tokenRequest.empty()) {
        const std::string token = kind;
        Add(requests, tokenRequest, Missing(token + " token", user[token + "_token"], now));
    }
    CServiceActivationInfo activation;
    activation.Init(name);
    if (!activation.IsValid()) {
        Add(requests, "activation", Missing("activation", user["activation"], now));
    }
    CJsonWebToken applicationToken;
    applicationToken.Init(name);
    if (!applicationToken.IsValid()) {
        Add(requests, "application token", Missing("application token", user["application_token"], now));
    }
    const std::int64_t mark = user["records"]["mark"].asInt64();
    Add(requests, "download",
        mark >= 1 ? "from mark " + std::to_string(mark) : "of all records: there is no mark");
    return Plan(requests);
}

}  // namespace Television
