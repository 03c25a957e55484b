#include <unistd.h>

#include <chrono>
#include <iostream>
#include <stdexcept>
#include <thread>

#include "Cli/Json.h"
#include "Cli/LearningMasker.h"
#include "Cli/Text.h"
#include "Cli/Time.h"
#include "Cloud/Commands/Commands.h"
#include "Cloud/Server/Console.h"
#include "Cloud/State/Exchanges.h"
#include "Cloud/State/Tokens.h"
#include "Util/JsonUtil.h"

namespace LocalCloud {

namespace {

// Far beyond every request that there will be.
constexpr std::int64_t HIGHEST_NUMBER = 1'000'000'000'000;
constexpr std::chrono::milliseconds BETWEEN_LOOKS(200);

struct Wanted {
    std::int64_t number = 0;
    /** Empty: all. */
    std::string since;
    bool follow = false;
    bool json = false;
    bool showSecrets = false;
};

std::string IsMoment(const std::string& text) {
    return Cli::ParseMoment(text) ? "" : "a time is 10m (ago), 14:02 or 2026-01-31T14:02:03Z";
}

void MaskMessage(Json::Value& message, Cli::LearningMasker& masker) {
    for (auto& header : message["headers"]) {
        header = masker.Mask(header.asString());
    }
    message["body"] = masker.Mask(Cli::StringMember(message, "body"));
}

Json::Value Masked(Json::Value exchange, Cli::LearningMasker& masker) {
    exchange["path"] = masker.Mask(Cli::StringMember(exchange, "path"));
    MaskMessage(exchange["request"], masker);
    MaskMessage(exchange["response"], masker);
    return exchange;
}

/** Those after the one of this number that are wanted, as they are to be shown. */
class Exchanges {
public:
    explicit Exchanges(const Wanted& wanted)
        : m_wanted(wanted), m_since(Cli::ParseMoment(wanted.since).value_or("")) {}

    /** What came since the last call. */
    Json::Value Next() {
        Json::Value list = Json::arrayValue;
        for (const Json::Value& exchange : ReadExchanges(m_folder, m_last)) {
            m_last = Cli::IntegerMember(exchange, "number");
            if (Cli::StringMember(exchange, "time") >= m_since) {
                list.append(m_wanted.showSecrets ? exchange : Masked(exchange, m_masker));
            }
        }
        return list;
    }

private:
    const Wanted& m_wanted;
    std::string m_since;
    Folder m_folder = Folder::Ready();
    Cli::LearningMasker m_masker;
    std::int64_t m_last = 0;
};

void ShowOne(const Wanted& wanted) {
    for (const auto& exchange : Exchanges(wanted).Next()) {
        if (Cli::IntegerMember(exchange, "number") == wanted.number) {
            std::cout << (wanted.json ? Cli::JsonText(exchange) : ExchangeInFull(exchange));
            return;
        }
    }
    throw std::runtime_error("exchange " + std::to_string(wanted.number) +
                             " is not among those that are remembered; see: infosync-cloud requests");
}

void ShowLines(const Json::Value& exchanges, bool json) {
    const Cli::Style style(STDOUT_FILENO);
    for (const auto& exchange : exchanges) {
        if (json) {
            std::cout << InfoSyncUtil::WriteJson(exchange) << "\n";
        } else {
            const std::string number = std::to_string(Cli::IntegerMember(exchange, "number")) + " ";
            std::cout << Cli::Wrap(number + ExchangeLine(exchange, style), number.size(), style.Width());
        }
    }
    std::cout.flush();
}

void ShowAll(const Wanted& wanted) {
    Exchanges exchanges(wanted);
    if (wanted.json && !wanted.follow) {
        std::cout << Cli::JsonText(exchanges.Next());
        return;
    }
    ShowLines(exchanges.Next(), wanted.json);
    while (wanted.follow && std::cout) {
        std::this_thread::sleep_for(BETWEEN_LOOKS);
        ShowLines(exchanges.Next(), wanted.json);
    }
}

void Declare(Cli::Command& command, Wanted& wanted) {
    const Cli::Parameter number =
        command.Operand("NUMBER", wanted.number, "the request to show whole").Between(1, HIGHEST_NUMBER);
    command.Flag("-f,--follow", wanted.follow, "go on with those that come").Excludes(number);
    command.Option("--since", "TIME", wanted.since, "from a time on: 10m (ago), 14:02 or an ISO 8601 time")
        .Must(&IsMoment)
        .Excludes(number);
    command.Flag("--show-secrets", wanted.showSecrets, "mask nothing");
    command.Json(wanted.json);
}

void Run(const Wanted& wanted) {
    wanted.number > 0 ? ShowOne(wanted) : ShowAll(wanted);
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
             &Declare, &Run);
}

}  // namespace LocalCloud
