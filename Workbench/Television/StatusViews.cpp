#include <algorithm>
#include <utility>

#include "Cli/Json.h"
#include "Cli/Text.h"
#include "Cli/Time.h"
#include "Television/Status.h"

namespace Television {

namespace {

using Cli::Colour;
using Kind = State::Kind;

constexpr std::size_t LABEL_WIDTH = 21;

Json::Value StateJson(const State& state) {
    Json::Value json;
    json["state"] = state.Name();
    if (!state.problem.empty()) {
        json["problem"] = state.problem;
    }
    if (state.kind == Kind::VALID || state.kind == Kind::EXPIRED) {
        json["seconds_left"] = Json::Int64{state.secondsLeft};
        json["begins"] = state.detail;
    }
    return json;
}

Json::Value UserJson(const UserStatus& user) {
    Json::Value json;
    json["user"] = user.user;
    for (const auto& [name, state] : user.holdings) {
        std::string member = name;
        std::replace(member.begin(), member.end(), ' ', '_');
        json[member] = StateJson(state);
    }
    json["records"] = StateJson(user.records.state);
    json["records"]["count"] = Json::UInt64{user.records.records.size()};
    json["records"]["mark"] = Json::Int64{user.records.mark};
    return json;
}

Json::Value ProblemJson(const Problem& problem) {
    Json::Value json;
    json["subject"] = problem.subject;
    json["problem"] = problem.words;
    return json;
}

std::string Row(const std::string& label, const std::string& text, const Cli::Style& style) {
    return Cli::Pad(label, LABEL_WIDTH) + Cli::Wrap(text, LABEL_WIDTH, style.Width());
}

std::string StateText(const State& state, const Cli::Style& style) {
    const Colour colour = state.kind == Kind::VALID     ? Colour::GREEN
                          : state.kind == Kind::EXPIRED ? Colour::YELLOW
                          : state.IsReadable()          ? Colour::PLAIN
                                                        : Colour::RED;
    const std::string detail = state.detail.empty() ? "" : ", " + style(Colour::DIM, state.detail);
    return style(colour, state.Words()) + detail;
}

std::string UserText(const UserStatus& user, bool isSignedIn, const Cli::Style& style) {
    std::string text =
        "\n" + style(Colour::BOLD, Cli::Escape(user.user)) + (isSignedIn ? " (signed in)" : "") + "\n";
    for (const auto& [name, state] : user.holdings) {
        text += Row("  " + name, StateText(state, style), style);
    }
    const std::string mark = user.records.mark > 0
                                 ? ", mark of the last run " + std::to_string(user.records.mark)
                                 : ", no mark: the next run asks for all";
    const std::string records = user.records.state.kind == Kind::STORED
                                    ? Cli::Count(user.records.records.size(), "record") + mark
                                    : StateText(user.records.state, style);
    return text + Row("  records", records, style);
}

std::string Addresses(const std::map<std::string, bool>& devices, bool arePaired) {
    std::vector<std::string> addresses;
    for (const auto& [address, isPaired] : devices) {
        if (isPaired == arePaired) {
            addresses.push_back(address);
        }
    }
    return Cli::Escape(Cli::Join(addresses, ", "));
}

}  // namespace

Json::Value ToJson(const Status& status) {
    Json::Value json;
    json["folder"] = status.folder;
    json["signed_in"] = status.isSignedIn;
    json["login_id"] = Cli::TextOrNull(status.loginId);
    json["users"] = Cli::JsonArray(status.users, &UserJson);
    json["devices"] = StateJson(status.devices.state);
    json["devices"]["count"] = Json::UInt64{status.devices.devices.size()};
    json["factory_reset_requested"] = status.isFactoryResetRequested;
    json["bluetooth"] = Json::objectValue;
    for (const auto& [address, isPaired] : status.bluetooth) {
        json["bluetooth"][address] = isPaired ? "paired" : "known";
    }
    json["cloud"] = status.cloud.words;
    json["last_run"] = status.lastRun;
    json["next_run"]["requests"] = Cli::JsonArray(status.nextRequests);
    json["next_run"]["words"] = status.nextRun;
    json["problems"] = Cli::JsonArray(status.problems, &ProblemJson);
    return json;
}

std::string StatusText(const Status& status, std::int64_t now, const Cli::Style& style) {
    // Of these, what is empty is left out.
    const std::pair<const char*, std::string> rows[] = {
        {"television", Cli::Escape(status.folder)},
        {"user", !status.isSignedIn       ? "nobody is signed in"
                 : status.loginId.empty() ? "signed in, without a login id"
                                          : Cli::Escape(status.loginId)},
        {"device list", status.devices.state.kind == Kind::STORED
                            ? Cli::Count(status.devices.devices.size(), "device")
                            : StateText(status.devices.state, style)},
        {"factory reset",
         status.isFactoryResetRequested ? style(Colour::YELLOW, "at the next run") : std::string()},
        {"paired", Addresses(status.bluetooth, true)},
        {"known, not paired", Addresses(status.bluetooth, false)},
        {"cloud", Cli::Escape(status.cloud.words)},
        {"last run", status.lastRun.isNull() ? "none yet" : KeptRunWords(status.lastRun, now, style)},
        {"next run", Cli::Escape(status.nextRun)}};
    std::string text;
    for (const auto& [label, words] : rows) {
        text += words.empty() ? "" : Row(label, words, style);
    }
    for (const UserStatus& user : status.users) {
        text += UserText(user, user.user == status.loginId, style);
    }
    text += status.problems.empty() ? "" : "\n";
    for (const Problem& problem : status.problems) {
        text += style(Colour::RED, Cli::Escape(problem.subject) + ": ") +
                Cli::Wrap(Cli::EscapeLines(problem.words), 4, style.Width());
    }
    return text;
}

}  // namespace Television
