#include <exception>

#include "AuthData/CAccessToken.h"
#include "AuthData/CAuthCode.h"
#include "AuthData/CJsonWebToken.h"
#include "AuthData/CServiceActivationInfo.h"
#include "Cli/Text.h"
#include "Cli/Time.h"
#include "Television/Status.h"

namespace Television {

namespace {

/** Why the access token, which ran out, cannot be refreshed; empty where it can. */
std::string WhyNoRefresh(const State& refreshToken) {
    try {
        CAuthCode code;
        code.Init();
        code.GetKapAuthDomain();
        code.GetKapApiDomain();
        return "";
    } catch (const std::exception& error) {
        return std::string(
                   "it fails: the access token ran out, and the sign-in document, which a refresh "
                   "needs, cannot be used (") +
               error.what() + "). A new one comes when the refresh token has run out, in " +
               Cli::DurationText(refreshToken.secondsLeft) + ", or after infosync-tv factory-reset";
    }
}

}  // namespace

NextRun PlanFor(const UserStatus& user, bool hasRecords) {
    CAccessToken tokens;
    CServiceActivationInfo activation;
    CJsonWebToken appToken;
    if (hasRecords) {
        tokens.Init(user.user);
        try {
            tokens.ReadFromSecureStorage();
        } catch (const std::exception&) {
            // They count as none.
        }
        activation.Init(user.user);
        appToken.Init(user.user);
    }
    NextRun plan;
    std::vector<std::string> words;
    const auto ask = [&](const char* request, const std::string& why) {
        plan.requests.emplace_back(request);
        words.push_back(std::string(request) + " (" + why + ")");
    };
    if (!tokens.HasUsableToken()) {
        ask("token", "access token: " + user.accessToken.Words());
    } else if (tokens.IsRefreshTokenExpired()) {
        ask("token", "refresh token: " + user.refreshToken.Words());
    } else if (tokens.IsTokenExpired()) {
        plan.words = WhyNoRefresh(user.refreshToken);
        if (!plan.words.empty()) {
            return plan;
        }
        ask("refresh", "access token: " + user.accessToken.Words());
    }
    if (!activation.IsValid()) {
        ask("activation", user.activation.Words());
    }
    if (!appToken.IsValid()) {
        ask("app", user.appToken.Words());
    }
    const std::int64_t mark = user.records.mark;
    ask("download", mark >= 1 ? "from mark " + std::to_string(mark) : "all records: no mark");
    plan.words = Cli::Join(words, ", ");
    return plan;
}

}  // namespace Television
