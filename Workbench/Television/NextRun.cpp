#include <exception>

#include "AuthData/CAccessToken.h"
#include "AuthData/CAuthCode.h"
#include "CBtInfoSync.h"
#include "Cli/Text.h"
#include "Cli/Time.h"
#include "Television/Status.h"

namespace Television {

namespace {

using Kind = State::Kind;

std::string EndOf(const State& state, std::int64_t now) {
    return Cli::TimeWords(Cli::Sum(now, state.secondsLeft), now);
}

/** Why something has to be asked for anew. */
std::string Missing(const std::string& name, const State& state, std::int64_t now) {
    switch (state.kind) {
        case Kind::EXPIRED:
            return name + " ran out at " + EndOf(state, now);
        case Kind::NONE:
            return "no " + name + " is stored";
        case Kind::FORBIDDEN:
            return name + ": what is stored is not yours to read";
        default:
            return name + ": what is stored is damaged";
    }
}

/** What the stored sign-in document lacks for a refresh; empty for nothing. */
std::string WhyNoRefresh() {
    CAuthCode code;
    try {
        code.Init();
        code.GetKapAuthDomain();
        code.GetKapApiDomain();
        return "";
    } catch (const std::exception& error) {
        return error.what();
    }
}

/** Adds the request for an access token, in the order of the service's questions. @return why the run fails
 */
std::string PlanToken(const UserStatus& user, std::int64_t now, Plan& plan) {
    CAccessToken token;
    token.Init(user.user);
    try {
        token.ReadFromSecureStorage();
    } catch (const std::exception&) {
        // As the service has it: what cannot be read is no token.
    }
    if (!token.HasTokens() || !token.HasUsableToken()) {
        plan.requests.push_back({"token", Missing("access token", user.accessToken, now)});
    } else if (token.IsRefreshTokenExpired()) {
        plan.requests.push_back({"token", Missing("refresh token", user.refreshToken, now)});
    } else if (token.IsTokenExpired()) {
        const std::string problem = WhyNoRefresh();
        if (!problem.empty()) {
            return "it fails: the access token ran out, and the sign-in document, which a refresh needs, "
                   "cannot "
                   "be used (" +
                   problem + "). A new one comes when the refresh token has run out, at " +
                   EndOf(user.refreshToken, now) + ", or after infosync-tv factory-reset";
        }
        plan.requests.push_back({"refresh", Missing("access token", user.accessToken, now)});
    }
    return "";
}

void PlanRest(const UserStatus& user, std::int64_t now, Plan& plan) {
    if (user.activation.kind != Kind::VALID) {
        plan.requests.push_back({"activation", Missing("activation", user.activation, now)});
    }
    if (user.appToken.kind != Kind::VALID) {
        plan.requests.push_back({"app", Missing("application token", user.appToken, now)});
    }
    plan.requests.push_back({"download", user.mark >= 1 ? "from mark " + std::to_string(user.mark)
                                                        : "of all records: there is no mark"});
}

std::string WordsOf(const std::vector<Plan::Request>& requests) {
    std::vector<std::string> words;
    for (const auto& [name, why] : requests) {
        words.push_back(name + (why.empty() ? "" : " (" + why + ")"));
    }
    return Cli::Join(words, ", ");
}

}  // namespace

Plan PlanNextRun(const Status& status, std::int64_t now) {
    Plan plan;
    if (status.loginId.empty()) {
        plan.words = "nothing: nobody is signed in; it waits " +
                     Cli::DurationText(std::int64_t{CBtInfoSync::SIGN_IN_WAIT_SECONDS}) +
                     " for that, then ends";
        return plan;
    }
    if (status.isFactoryResetRequested) {
        plan.requests = {{"token", ""}, {"activation", ""}, {"app", ""}};
        plan.requests.push_back({"download", "of all records: a factory reset comes first"});
    } else {
        for (const UserStatus& user : status.users) {
            plan.words = user.isSignedIn ? PlanToken(user, now, plan) : plan.words;
            if (user.isSignedIn && plan.words.empty()) {
                PlanRest(user, now, plan);
            }
        }
    }
    plan.words = plan.words.empty() ? WordsOf(plan.requests) : plan.words;
    return plan;
}

}  // namespace Television
