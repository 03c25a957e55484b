#include <unistd.h>

#include <chrono>
#include <iostream>
#include <limits>
#include <stdexcept>
#include <thread>

#include "Cli/Json.h"
#include "Cli/Masker.h"
#include "Cli/Text.h"
#include "Cli/Time.h"
#include "Cloud/Commands/Commands.h"
#include "Cloud/State/Exchanges.h"
#include "Cloud/State/Tokens.h"
#include "Util/JsonUtil.h"

namespace LocalCloud {

namespace {

struct RequestsArguments {
    /** 0: all. */
    std::int64_t number = 0;
    /** Empty: all. */
    std::string since;
    bool follow = false;
    bool json = false;
    bool showSecrets = false;
};

std::string IsMoment(const std::string& text) {
    return Cli::ParseMoment(text) ? "" : "a time is 10m (ago) or 2026-01-31T14:02:03Z";
}

void Mask(Json::Value& exchange, const Cli::Masker& masker) {
    exchange["path"] = masker.Mask(Cli::StringMember(exchange, "path"));
    for (const char* message : {"request", "response"}) {
        for (auto& header : exchange[message]["headers"]) {
            header = masker.Mask(header.asString());
        }
        exchange[message]["body"] = masker.Mask(Cli::StringMember(exchange[message], "body"));
    }
}

/** Those that are wanted and came after the one of this number, which becomes that of the last. */
Json::Value Next(const Folder& folder, const RequestsArguments& arguments, std::int64_t& last) {
    const std::string since = Cli::ParseMoment(arguments.since).value_or("");
    Json::Value list = Json::arrayValue;
    for (const Json::Value& exchange : ReadExchanges(folder, last)) {
        last = Cli::IntegerMember(exchange, "number");
        const bool isWanted = arguments.number == 0 || arguments.number == last;
        if (isWanted && Cli::StringMember(exchange, "time") >= since) {
            list.append(exchange);
        }
    }
    if (!arguments.showSecrets) {
        const Cli::Masker masker(TokenStore(folder).Secrets());
        for (Json::Value& exchange : list) {
            Mask(exchange, masker);
        }
    }
    return list;
}

/** Its headers and body. */
std::string InFull(const Json::Value& message) {
    std::string text;
    for (const auto& header : message["headers"]) {
        text += Cli::Escape(header.asString()) + "\n";
    }
    text += "\n" + Cli::EscapeLines(Cli::StringMember(message, "body")) + "\n";
    const bool isCut = message.isMember("body_bytes");
    return text + (isCut ? "... " + message["body_bytes"].asString() + " bytes in all\n" : "");
}

void ShowOne(const Json::Value& exchange, bool json) {
    std::cout << (json ? Cli::JsonText(exchange)
                       : Cli::Escape(exchange["method"].asString() + " " + exchange["path"].asString()) +
                             "\n" + InFull(exchange["request"]) + "\n" +
                             exchange["response"]["status"].asString() + "\n" + InFull(exchange["response"]));
}

void ShowLines(const Json::Value& exchanges, bool json) {
    const Cli::Style style(STDOUT_FILENO);
    for (const auto& exchange : exchanges) {
        const std::string number = exchange["number"].asString() + " ";
        std::cout << (json ? InfoSyncUtil::WriteJson(exchange) + "\n"
                           : Cli::Wrap(number + ExchangeLine(exchange, style), number.size(), style.Width()));
    }
    std::cout.flush();
}

void Requests(const RequestsArguments& arguments) {
    const Folder folder;
    std::int64_t last = arguments.number == 0 ? 0 : arguments.number - 1;
    const Json::Value exchanges = Next(folder, arguments, last);
    if (arguments.number > 0 && exchanges.empty()) {
        throw std::runtime_error("exchange " + std::to_string(arguments.number) +
                                 " is not among those that are remembered; see: infosync-cloud requests");
    }
    if (arguments.number > 0) {
        ShowOne(exchanges[0], arguments.json);
    } else if (arguments.json && !arguments.follow) {
        std::cout << Cli::JsonText(exchanges);
    } else {
        ShowLines(exchanges, arguments.json);
    }
    while (arguments.follow && std::cout) {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        ShowLines(Next(folder, arguments, last), arguments.json);
    }
}

void DeclareRequests(Cli::Command& command, RequestsArguments& arguments) {
    const Cli::Parameter number = command.Operand("NUMBER", arguments.number, "the request to show whole")
                                      .Between(1, std::numeric_limits<std::int64_t>::max());
    command.Flag("-f,--follow", arguments.follow, "go on with those that come").Excludes(number);
    command.Option("--since", "TIME", arguments.since, "from a time on: 10m (ago) or an ISO 8601 time")
        .Must(&IsMoment)
        .Excludes(number);
    command.Flag("--show-secrets", arguments.showSecrets, "mask nothing");
    command.Json(arguments.json);
}

}  // namespace

void AddRequestsCommand(Cli::Tool& tool) {
    tool.Add("requests", "Show what was asked of the server, and what it answered",
             R"(One line for each of the latest requests, or one request whole; also after the
server has gone. Tokens, codes and verifiers are masked.

Examples:
  infosync-cloud requests -f
  infosync-cloud requests 4
  infosync-cloud requests --since 10m --json | jq '.[].response.status')",
             &DeclareRequests, &Requests);
}

}  // namespace LocalCloud
