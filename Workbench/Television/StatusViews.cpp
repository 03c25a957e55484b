#include "Cli/Json.h"
#include "Cli/Text.h"
#include "Cli/Time.h"
#include "Television/Status.h"

namespace Television {

namespace {

using Cli::Colour;
using Kind = State::Kind;

constexpr std::size_t LABEL_WIDTH = 21;

/** What runs out of what is kept for a user. */
struct UserRow {
    const char* label;
    const char* member;
    State UserStatus::*state;
    /** The member for what tells one from another, and what stands before that in the text. */
    const char* detail;
    const char* prefix;
};
constexpr UserRow USER_ROWS[] = {
    {"access token", "access_token", &UserStatus::accessToken, "token", ""},
    {"refresh token", "refresh_token", &UserStatus::refreshToken, "token", ""},
    {"activation", "activation", &UserStatus::activation, "device_id", "device id "},
    {"application token", "application_token", &UserStatus::appToken, "token", ""}};

const char* NameOf(Kind kind) {
    constexpr const char* NAMES[] = {"none", "stored", "valid", "expired", "damaged", "forbidden"};
    return NAMES[static_cast<int>(kind)];
}

Json::Value StateJson(const State& state, const char* detail = "") {
    Json::Value json;
    json["state"] = NameOf(state.kind);
    if (!state.problem.empty()) {
        json["problem"] = state.problem;
    }
    if (state.kind == Kind::VALID || state.kind == Kind::EXPIRED) {
        json["seconds_left"] = Json::Int64{state.secondsLeft};
        json[detail] = state.detail;
    }
    return json;
}

Json::Value UserJson(const UserStatus& user) {
    Json::Value json;
    json["user"] = user.user;
    json["signed_in"] = user.isSignedIn;
    for (const UserRow& row : USER_ROWS) {
        json[row.member] = StateJson(user.*row.state, row.detail);
    }
    json["records"] = StateJson(user.records);
    json["records"]["count"] = Json::UInt64{user.recordCount};
    json["records"]["mark"] = Json::Int64{user.mark};
    return json;
}

Json::Value RequestJson(const Plan::Request& request) {
    Json::Value json;
    json["request"] = request.name;
    json["why"] = request.why;
    return json;
}

Json::Value BluetoothJson(const BluetoothDevice& device) {
    Json::Value json;
    json["address"] = device.address;
    json["paired"] = device.isPaired;
    json["name"] = Cli::TextOrNull(device.name);
    return json;
}

Json::Value ProblemJson(const Problem& problem) {
    Json::Value json;
    json["subject"] = problem.subject;
    json["problem"] = problem.words;
    if (problem.line != 0) {
        json["line"] = Json::UInt64{problem.line};
    }
    return json;
}

std::string Row(const std::string& label, const std::string& text, const Cli::Style& style) {
    return Cli::Pad(label, LABEL_WIDTH) + Cli::Wrap(text, LABEL_WIDTH, style.Width());
}

/** @param prefix stands before what tells one from another */
std::string StateWords(const State& state, const Cli::Style& style, const std::string& prefix = "") {
    const std::string duration = Cli::DurationText(state.secondsLeft);
    const std::string detail =
        state.detail.empty() ? "" : ", " + style(Colour::DIM, prefix + Cli::Escape(state.detail));
    switch (state.kind) {
        case Kind::VALID:
            return style(Colour::GREEN, "valid") + ", " + duration + " left" + detail;
        case Kind::EXPIRED:
            return style(Colour::YELLOW, "ran out") + " " + duration + " ago" + detail;
        default:  // why it is not readable is one of the problems
            return style(state.IsReadable() ? Colour::PLAIN : Colour::RED, NameOf(state.kind));
    }
}

std::string UserText(const UserStatus& user, const Cli::Style& style) {
    std::string text =
        "\n" + style(Colour::BOLD, Cli::Escape(user.user)) + (user.isSignedIn ? " (signed in)" : "") + "\n";
    for (const UserRow& row : USER_ROWS) {
        text += Row(std::string("  ") + row.label, StateWords(user.*row.state, style, row.prefix), style);
    }
    const std::string mark = user.mark > 0 ? ", mark of the last run " + std::to_string(user.mark)
                                           : ", no mark: the next run asks for all";
    const std::string records = user.records.kind == Kind::STORED
                                    ? Cli::Count(user.recordCount, "record") + mark
                                    : StateWords(user.records, style);
    return text + Row("  records", records, style);
}

std::string BluetoothWords(const std::vector<BluetoothDevice>& devices, bool isPaired) {
    std::vector<std::string> words;
    for (const BluetoothDevice& device : devices) {
        if (device.isPaired == isPaired) {
            words.push_back(device.address + (device.name.empty() ? "" : " " + device.name));
        }
    }
    return Cli::Escape(Cli::Join(words, ", "));
}

std::string ProblemText(const Problem& problem, const Cli::Style& style) {
    const std::string place = problem.line == 0 ? "" : ", line " + std::to_string(problem.line);
    return style(Colour::RED, Cli::Escape(problem.subject + place + ": ")) +
           Cli::Wrap(Cli::EscapeLines(problem.words), 4, style.Width());
}

}  // namespace

Json::Value ToJson(const Status& status) {
    Json::Value json;
    json["folder"] = status.folder;
    json["signed_in"] = status.isSignedIn;
    json["login_id"] = Cli::TextOrNull(status.loginId);
    json["users"] = Cli::JsonArray(status.users, &UserJson);
    json["devices"] = StateJson(status.devices);
    json["devices"]["count"] = Json::UInt64{status.deviceCount};
    json["authorisation_code"] = StateJson(status.authCode);
    json["factory_reset_requested"] = status.isFactoryResetRequested;
    json["bluetooth"] = Cli::JsonArray(status.bluetooth, &BluetoothJson);
    json["cloud"]["folder"] = Cli::TextOrNull(status.cloud.folder);
    json["cloud"]["port"] = status.cloud.port == 0 ? Json::Value() : Json::Value(status.cloud.port);
    json["cloud"]["words"] = status.cloud.words;
    json["last_run"] = status.lastRun ? status.lastRun->ToJson() : Json::Value();
    json["next_run"]["requests"] = Cli::JsonArray(status.nextRun.requests, &RequestJson);
    json["next_run"]["words"] = status.nextRun.words;
    json["problems"] = Cli::JsonArray(status.problems, &ProblemJson);
    return json;
}

std::string StatusText(const Status& status, std::int64_t now, const Cli::Style& style) {
    const std::string requests = status.lastRun ? Log::RequestsWords(status.lastRun->story) : "";
    // Of these, what is empty is left out.
    const std::pair<const char*, std::string> rows[] = {
        {"television", Cli::Escape(status.folder)},
        {"user", !status.isSignedIn       ? "nobody is signed in"
                 : status.loginId.empty() ? "signed in, without a login id"
                                          : Cli::Escape(status.loginId)},
        {"device list", status.devices.kind == Kind::STORED ? Cli::Count(status.deviceCount, "device")
                                                            : StateWords(status.devices, style)},
        {"factory reset",
         status.isFactoryResetRequested ? style(Colour::YELLOW, "at the next run") : std::string()},
        {"paired", BluetoothWords(status.bluetooth, true)},
        {"known, not paired", BluetoothWords(status.bluetooth, false)},
        {"cloud", Cli::Escape(status.cloud.words)},
        {"last run", status.lastRun ? KeptRunWords(*status.lastRun, now, style) : "none yet"},
        {"", requests.empty() ? "" : Cli::Escape("it asked for: " + requests)},
        {"next run", Cli::Escape(status.nextRun.words)}};
    std::string text;
    for (const auto& [label, words] : rows) {
        text += words.empty() ? "" : Row(label, words, style);
    }
    for (const UserStatus& user : status.users) {
        text += UserText(user, style);
    }
    text += status.problems.empty() ? "" : "\n";
    for (const Problem& problem : status.problems) {
        text += ProblemText(problem, style);
    }
    return text;
}

}  // namespace Television
