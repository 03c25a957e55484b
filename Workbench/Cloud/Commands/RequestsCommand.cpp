#include <unistd.h>

#include <chrono>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <thread>

#include "Cli/Json.h"
#include "Cli/LearningMasker.h"
#include "Cli/Text.h"
#include "Cloud/Commands/Commands.h"
#include "Cloud/Commands/ControlClient.h"
#include "Cloud/Server/Console.h"
#include "Cloud/Util/Json.h"
#include "Cloud/Util/Time.h"
#include "Util/JsonUtil.h"

namespace LocalCloud {

namespace {

// Far beyond every request that there will be.
constexpr std::int64_t HIGHEST_NUMBER = 1'000'000'000'000;
constexpr std::chrono::milliseconds BETWEEN_LOOKS(200);

struct Wanted {
    std::int64_t number = 0;
    std::string since;
    bool follow = false;
    bool json = false;
    bool showSecrets = false;
};

std::string IsMoment(const std::string& text) {
    return ParseMoment(text) ? "" : "a time is 10m (ago), 14:02 or 2026-01-31T14:02:03Z";
}

void MaskMessage(Json::Value& message, Cli::LearningMasker& masker) {
    for (auto& header : message["headers"]) {
        header = masker.Mask(header.asString());
    }
    message["body"] = masker.Mask(TextMember(message, "body"));
}

Json::Value Masked(Json::Value exchange, Cli::LearningMasker& masker) {
    exchange["path"] = masker.Mask(TextMember(exchange, "path"));
    MaskMessage(exchange["request"], masker);
    MaskMessage(exchange["response"], masker);
    return exchange;
}

/** Those after the one of this number that are wanted, as they are to be shown. */
class Exchanges {
public:
    explicit Exchanges(const Wanted& wanted)
        : m_wanted(wanted), m_since(ParseMoment(wanted.since).value_or("")) {}

    /** What came since the last call. */
    Json::Value Next() {
        Json::Value list = Json::arrayValue;
        const Json::Value answer = AskServer(m_folder, "GET", "/exchanges?after=" + std::to_string(m_last));
        for (const auto& exchange : answer["exchanges"]) {
            m_last = IntegerMember(exchange, "number");
            if (TextMember(exchange, "time") >= m_since) {
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
        if (IntegerMember(exchange, "number") == wanted.number) {
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
            const std::string number = std::to_string(IntegerMember(exchange, "number")) + " ";
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

}  // namespace

void AddRequestCommands(Cli::Tool& tool) {
    const auto wanted = std::make_shared<Wanted>();
    Cli::Command command = tool.AddReading(
        "requests", "Show what was asked of the running server, and what it answered",
        R"(One line for each of the last 1,000 requests, or one request whole. Tokens, codes and verifiers are masked.

Examples:
  infosync-cloud requests -f
  infosync-cloud requests 4
  infosync-cloud requests --since 10m --json | jq '.[].response.status')",
        [wanted](bool json) {
            wanted->json = json;
            wanted->number > 0 ? ShowOne(*wanted) : ShowAll(*wanted);
        });
    const Cli::Parameter number =
        command.Operand("NUMBER", wanted->number, "the request to show whole").Between(1, HIGHEST_NUMBER);
    command.Flag("-f,--follow", wanted->follow, "go on with those that come").Excludes(number);
    command.Option("--since", "TIME", wanted->since, "from a time on: 10m (ago), 14:02 or an ISO 8601 time")
        .Must(&IsMoment)
        .Excludes(number);
    command.Flag("--show-secrets", wanted->showSecrets, "mask nothing");
}

}  // namespace LocalCloud
