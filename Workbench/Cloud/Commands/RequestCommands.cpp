#include <unistd.h>

#include <chrono>
#include <iostream>
#include <memory>
#include <thread>

#include "Cli/Json.h"
#include "Cli/Masker.h"
#include "Cloud/Commands/Commands.h"
#include "Cloud/Commands/ControlClient.h"
#include "Cloud/Server/ExchangeText.h"
#include "Cloud/Util/Errors.h"
#include "Cloud/Util/Json.h"
#include "Cloud/Util/Time.h"

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

CLI::Validator Moment() {
    return {[](const std::string& text) {
                return ParseMoment(text) ? "" : "a time is 10m (ago), 14:02 or 2026-01-31T14:02:03Z";
            },
            ""};
}

void MaskMessage(Json::Value& message, Cli::Masker& masker) {
    for (auto& header : message["headers"]) {
        header = masker.Mask(header.asString());
    }
    message["body"] = masker.Mask(TextMember(message, "body"));
}

class Display {
public:
    explicit Display(const Wanted& wanted) : m_wanted(wanted), m_style(STDOUT_FILENO) {}

    void Show(Json::Value exchange) {
        if (!m_wanted.showSecrets) {
            exchange["path"] = m_masker.Mask(TextMember(exchange, "path"));
            MaskMessage(exchange["request"], m_masker);
            MaskMessage(exchange["response"], m_masker);
        }
        if (m_wanted.json && !m_wanted.follow) {
            m_list.append(exchange);
        } else if (m_wanted.json) {
            std::cout << CompactJson(exchange) << "\n";
        } else if (m_wanted.number > 0) {
            std::cout << ExchangeInFull(exchange);
        } else {
            std::cout << IntegerMember(exchange, "number") << " " << ExchangeLine(exchange, m_style) << "\n";
        }
    }

    /** What can be written only when all is there: with --json, one array. */
    void End() const {
        if (m_wanted.json && !m_wanted.follow) {
            std::cout << Cli::JsonText(m_wanted.number > 0 ? m_list[0] : m_list);
        }
    }

private:
    const Wanted& m_wanted;
    Cli::Style m_style;
    Cli::Masker m_masker;
    Json::Value m_list = Json::arrayValue;
};

Json::Value ExchangesAfter(const ControlClient& client, std::int64_t number) {
    return client.Get("/exchanges?after=" + std::to_string(number))["exchanges"];
}

void ShowOne(const Wanted& wanted) {
    const Json::Value exchanges = ExchangesAfter(ControlClient(Folder()), wanted.number - 1);
    if (exchanges.empty() || exchanges[0]["number"] != Json::Int64(wanted.number)) {
        throw CloudError("exchange " + std::to_string(wanted.number) +
                         " is not among those that are remembered; see: infosync-cloud requests");
    }
    Display display(wanted);
    display.Show(exchanges[0]);
    display.End();
}

void ShowAll(const Wanted& wanted) {
    const ControlClient client{Folder()};
    const std::string since = ParseMoment(wanted.since).value_or("");
    Display display(wanted);
    std::int64_t last = 0;
    const auto showNew = [&] {
        for (const auto& exchange : ExchangesAfter(client, last)) {
            last = IntegerMember(exchange, "number");
            if (TextMember(exchange, "time") >= since) {
                display.Show(exchange);
            }
        }
        std::cout.flush();
    };
    showNew();
    while (wanted.follow && std::cout) {
        std::this_thread::sleep_for(BETWEEN_LOOKS);
        showNew();
    }
    display.End();
}

}  // namespace

void AddRequestCommands(Cli::Tool& tool) {
    const auto wanted = std::make_shared<Wanted>();
    CLI::App& command = tool.Command(
        "requests", "Show what was asked of the running server, and what it answered",
        R"(One line for each of the last 1,000 requests, or one request whole. Tokens, codes and verifiers are masked.

Examples:
  infosync-cloud requests -f
  infosync-cloud requests 4
  infosync-cloud requests --since 10m --json | jq '.[].response.status')");
    CLI::Option* number = command.add_option("NUMBER", wanted->number, "the request to show whole")
                              ->check(CLI::Range(std::int64_t{1}, HIGHEST_NUMBER));
    command.add_flag("-f,--follow", wanted->follow, "go on with those that come")->excludes(number);
    command.add_option("--since", wanted->since, "from a time on: 10m (ago), 14:02 or an ISO 8601 time")
        ->option_text("TIME")
        ->check(Moment())
        ->excludes(number);
    command.add_flag("--json", wanted->json, JSON_HELP);
    command.add_flag("--show-secrets", wanted->showSecrets, "mask nothing");
    command.callback([wanted] { wanted->number > 0 ? ShowOne(*wanted) : ShowAll(*wanted); });
}

}  // namespace LocalCloud
