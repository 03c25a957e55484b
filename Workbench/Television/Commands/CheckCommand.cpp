#include <unistd.h>

#include <ctime>
#include <iostream>
#include <memory>

#include "Cli/Json.h"
#include "Cli/Style.h"
#include "Cli/Text.h"
#include "Television/Check.h"
#include "Television/Commands/Commands.h"
#include "Television/IniFile.h"

namespace Commands {

namespace {

std::string Line(const Television::CheckResult& result, const Cli::Style& style) {
    constexpr std::size_t SUBJECT_WIDTH = 14;
    constexpr std::size_t STATE_WIDTH = 7;
    return Cli::Pad(result.subject, SUBJECT_WIDTH) +
           (result.isFine ? style(Cli::Colour::GREEN, "fine   ") : style(Cli::Colour::RED, "wrong  ")) +
           Cli::Wrap(Cli::EscapeLines(result.words), SUBJECT_WIDTH + STATE_WIDTH);
}

void Check(bool json) {
    Television::Require();
    const Cli::Style style(STDOUT_FILENO);
    bool isFine = true;
    Json::Value all(Json::arrayValue);
    std::string text;
    for (const Television::CheckResult& result : Television::CheckTelevision(std::time(nullptr))) {
        isFine = isFine && result.isFine;
        Json::Value entry;
        entry["subject"] = result.subject;
        entry["fine"] = result.isFine;
        entry["words"] = result.words;
        all.append(std::move(entry));
        text += Line(result, style);
    }
    std::cout << (json ? Cli::JsonText(all) : text);
    if (!isFine) {
        throw CLI::RuntimeError(Cli::EXIT_FAILED);
    }
}

}  // namespace

void AddCheck(Cli::Tool& tool) {
    const auto json = std::make_shared<bool>(false);
    CLI::App& command = tool.Command(
        "check", "Look for what keeps this television from working",
        R"(tv.ini, the folder and who may write to it, the certificates, what the authorisation server
answers to a request by the service's own way, and the clock. The exit status is 1 when
something is wrong.

Examples:
  infosync-tv check
  infosync-tv check --json)");
    command.add_flag("--json", *json, "write JSON for scripts");
    command.callback([json] { Check(*json); });
}

}  // namespace Commands
