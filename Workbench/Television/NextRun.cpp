#include <exception>

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

/** What an access token is asked for with, by the service's questions in their order. */
std::vector<Plan::Request> PlanToken(const UserStatus& user, std::int64_t now) {
    CAccessToken token = TokensOf(user.user);
    if (!token.HasTokens() || !token.HasUsableToken()) {
        return {{"token", Missing("access token", user.accessToken, now)}};
    }
    if (token.IsRefreshTokenExpired()) {
        return {{"token", Missing("refresh token", user.refreshToken, now)}};
    }
    if (token.IsTokenExpired()) {
        return {{"refresh", Missing("access token", user.accessToken, now)}};
    }
    return {};
}

Plan PlanFor(const UserStatus& user, std::int64_t now) {
    Plan plan = {PlanToken(user, now), ""};
    const bool isRefresh = !plan.requests.empty() && plan.requests[0].name == "refresh";
    const std::string problem = isRefresh ? WhyNoRefresh() : "";
    if (!problem.empty()) {
        return {{},
                "it fails: the access token ran out, and the sign-in document, which a refresh needs, cannot "
                "be used (" +
                    problem + "). A new one comes when the refresh token has run out, at " +
                    EndOf(user.refreshToken, now) + ", or after infosync-tv factory-reset"};
    }
    if (user.activation.kind != Kind::VALID) {
        plan.requests.push_back({"activation", Missing("activation", user.activation, now)});
    }
    if (user.appToken.kind != Kind::VALID) {
        plan.requests.push_back({"app", Missing("application token", user.appToken, now)});
    }
    plan.requests.push_back({"download", user.mark >= 1 ? "from mark " + std::to_string(user.mark)
                                                        : "of all records: there is no mark"});
    return plan;
}

}  // namespace

Plan PlanNextRun(const Status& status, std::int64_t now) {
    if (status.loginId.empty()) {
        const std::string wait = Cli::DurationText(std::int64_t{CBtInfoSync::SIGN_IN_WAIT_SECONDS});
        return {{}, "nothing: nobody is signed in; it waits " + wait + " for that, then ends"};
    }
    Plan plan = {{{"token", ""},
                  {"activation", ""},
                  {"app", ""},
                  {"download", "of all records: a factory reset comes first"}},
                 ""};
    for (const UserStatus& user : status.users) {
        if (user.isSignedIn && !status.isFactoryResetRequested) {
            plan = PlanFor(user, now);
        }
    }
    for (const auto& [name, why] : plan.requests) {
        plan.words += (plan.words.empty() ? "" : ", ") + name + (why.empty() ? "" : " (" + why + ")");
    }
    return plan;
}

}  // namespace Television
