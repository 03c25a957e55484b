#include <exception>
#include <string>
#include <vector>

#include "AuthData/CAccessToken.h"
#include "AuthData/CJsonWebToken.h"
#include "AuthData/CServiceActivationInfo.h"
#include "Cli/Duration.h"
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

class Plan {
public:
    Plan(const Json::Value& user, std::int64_t now) : m_user(user), m_now(now) {}

    void Add(const std::string& request, const std::string& why) {
        Json::Value entry;
        entry["request"] = request;
        entry["why"] = why;
        m_requests.append(std::move(entry));
        m_words.push_back(request + (why.empty() ? "" : " (" + why + ")"));
    }

    /** Adds the request for what the part of the status with that name is of. */
    void AddFor(const std::string& request, const char* part, const std::string& name) {
        Add(request, Missing(name, m_user[part], m_now));
    }

    Json::Value ToJson() const {
        Json::Value plan;
        plan["requests"] = m_requests;
        plan["words"] = Cli::Join(m_words, ", ");
        return plan;
    }

private:
    const Json::Value& m_user;
    std::int64_t m_now;
    Json::Value m_requests = Json::Value(Json::arrayValue);
    std::vector<std::string> m_words;
};

void PlanToken(Plan& plan, const std::string& user) {
    CAccessToken token;
    token.Init(user);
    try {
        token.ReadFromSecureStorage();
    } catch (const std::exception&) {
        // As the service has it: what cannot be read is no token.
    }
    if (!token.HasTokens() || !token.HasUsableToken()) {
        plan.AddFor("token with a new code", "access_token", "access token");
    } else if (token.IsRefreshTokenExpired()) {
        plan.AddFor("token with a new code", "refresh_token", "refresh token");
    } else if (token.IsTokenExpired()) {
        plan.AddFor("token refresh", "access_token", "access token");
    }
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
    Plan plan(user, now);
    if (!status["signed_in"].asBool() || name.empty()) {
        plan.Add("nothing", "nobody is signed in: it waits 20 seconds for that, then ends");
        return plan.ToJson();
    }
    if (status["factory_reset_requested"].asBool()) {
        for (const char* request : {"token with a new code", "activation", "application token"}) {
            plan.Add(request, "");
        }
        plan.Add("download", "of all records: a factory reset comes first");
        return plan.ToJson();
    }
    PlanToken(plan, name);
    CServiceActivationInfo activation;
    activation.Init(name);
    if (!activation.IsValid()) {
        plan.AddFor("activation", "activation", "activation");
    }
    CJsonWebToken applicationToken;
    applicationToken.Init(name);
    if (!applicationToken.IsValid()) {
        plan.AddFor("application token", "application_token", "application token");
    }
    const std::int64_t mark = user["records"]["mark"].asInt64();
    plan.Add("download",
             mark >= 1 ? "from mark " + std::to_string(mark) : "of all records: there is no mark");
    return plan.ToJson();
}

}  // namespace Television
