#include "Television/RunOutcome.h"

#include <cstdlib>
#include <iterator>

#include "Cli/Text.h"

namespace Television {

namespace {

using Explain::Exchange;
using Explain::Step;

struct Request {
    /** As an outcome and as a kept run have it. */
    const char* shortName;
    const char* name;
    Exchange Explain::Run::*exchange;
};

constexpr Request REQUESTS[] = {{"token", "token", &Explain::Run::tokenRequest},
                                {"activate", "activation", &Explain::Run::activation},
                                {"app", "application token", &Explain::Run::appToken},
                                {"records", "download", &Explain::Run::download}};

bool IsRefused(const Exchange& exchange) {
    return !exchange.code.empty() && exchange.code != "0";
}

/** "activate answered 401, rcode 4010001: access token unknown"; empty where nothing is wrong with it. */
std::string AnswerWords(const std::string& name, const Exchange& exchange) {
    constexpr std::int64_t STATUS_OK = 200;
    const std::string answer = name + " answered " + std::to_string(exchange.status.value_or(0));
    return IsRefused(exchange) ? answer + ", rcode " + exchange.code + ": " + exchange.words
           : exchange.status.value_or(STATUS_OK) != STATUS_OK ? answer
                                                              : "";
}

/** Why there is no token, since the service goes on without one; empty where there is, or it is not told. */
std::string TokenRefusal(const Explain::Run& run) {
    const Exchange& exchange = run.tokenRequest;
    if (IsRefused(exchange)) {
        return "the token request was refused: " + exchange.code +
               (exchange.words.empty() ? "" : ", " + exchange.words);
    }
    return exchange.answered && !run.gotToken ? "the token request was answered without one" : "";
}

std::string Words(const Explain::Run& run, const Explain::Fault& fault, Step step) {
    constexpr char NO_JSON[] = "fail to parse JSON";
    if (fault.text == "Exit process") {
        return Words(run, {"nobody is signed in; see infosync-tv sign-in", fault.causes}, step);
    }
    const std::string refusal = TokenRefusal(run);
    if (!refusal.empty() && (fault.text == "Fail to activate" || fault.text == "Fail to get JWT")) {
        return "no access token (" + refusal + ")";
    }
    const bool isNoJson = Cli::StartsWith(fault.text, NO_JSON);
    std::string answer;
    std::string asked = step == Step::LIST ? "the stored device list" : "the answer to a request";
    for (const Request& request : REQUESTS) {
        if (request.exchange == Explain::ExchangeOf(step)) {
            asked = std::string("the answer to ") + request.shortName;
            answer = AnswerWords(request.shortName, run.*request.exchange);
        }
    }
    if (answer.empty() && (isNoJson || fault.text == "token is empty")) {
        answer = asked;
    }
    const std::string separator = answer.empty() || fault.causes.empty() ? "" : "; ";
    const std::string causes = answer + separator + fault.causes;
    // Where in it the parser stopped is told by the log.
    return (isNoJson ? NO_JSON : fault.text) + (causes.empty() ? "" : " (" + causes + ")");
}

}  // namespace

const char* KindName(RunOutcome::Kind kind) {
    constexpr const char* NAMES[] = {"success", "failed", "timed out", "interrupted", "crashed"};
    return NAMES[static_cast<int>(kind)];
}

std::string OutcomeWords(const RunOutcome& outcome) {
    return KindName(outcome.kind) + (outcome.reason.empty() ? "" : ": " + outcome.reason);
}

RunOutcome OutcomeOf(const Explain::Run& run) {
    if (!run.failure) {
        return run.sawEnd ? RunOutcome()
                          : RunOutcome{RunOutcome::Kind::CRASHED, "the log ends before the service did"};
    }
    const bool isOfStore = run.failure->text == Explain::STORE_FAILED;
    return {RunOutcome::Kind::FAILURE,
            isOfStore ? run.failure->causes : Words(run, *run.failure, run.failedStep)};
}

std::string LastFault(const Explain::Run& run) {
    return run.faults.empty() ? "" : Words(run, run.faults.back(), run.step);
}

Json::Value RequestsOf(const Explain::Run& run) {
    Json::Value all(Json::arrayValue);
    for (const Request& request : REQUESTS) {
        const Exchange& exchange = run.*request.exchange;
        if (!exchange.sent) {
            continue;
        }
        const bool isRefresh = &exchange == &run.tokenRequest && run.token == Explain::Run::Token::REFRESHED;
        Json::Value entry;
        entry["request"] = isRefresh ? "token refresh" : request.name;
        entry["answered"] = exchange.answered;
        entry["status"] = exchange.status ? Json::Value(Json::Int64{*exchange.status}) : Json::Value();
        if (&exchange == &run.download) {
            entry["mark"] = run.mark.empty()
                                ? Json::Value()
                                : Json::Value(Json::Int64{std::strtoll(run.mark.c_str(), nullptr, 10)});
        }
        all.append(std::move(entry));
    }
    return all;
}

}  // namespace Television
