#include <algorithm>

#include "Cli/Text.h"
#include "Cli/Time.h"
#include "Television/KeptRun.h"
#include "Television/Status.h"

namespace Television {

namespace {

using Cli::Colour;
using Kind = State::Kind;

constexpr std::size_t LABEL_WIDTH = 21;

const char* NameOf(Kind kind) {
    constexpr const char* NAMES[] = {"none", "stored", "valid", "expired", "damaged", "forbidden"};
    return NAMES[static_cast<int>(kind)];
}

Json::Value StateJson(const State& state, const char* detail = nullptr) {
    Json::Value json;
    json["state"] = NameOf(state.kind);
    if (!state.problem.empty()) {
        json["problem"] = state.problem;
    }
    if (state.kind == Kind::VALID || state.kind == Kind::EXPIRED) {
        json["seconds_left"] = Json::Int64{state.secondsLeft};
        if (detail != nullptr) {
            json[detail] = state.detail;
        }
    }
    return json;
}

Json::Value UserJson(const UserStatus& user) {
    Json::Value json;
    json["user"] = user.user;
    json["signed_in"] = user.isSignedIn;
    json["access_token"] = StateJson(user.accessToken, "token");
    json["refresh_token"] = StateJson(user.refreshToken, "token");
    json["activation"] = StateJson(user.activation, "device_id");
    json["application_token"] = StateJson(user.appToken, "token");
    json["records"] = StateJson(user.records);
    json["records"]["count"] = Json::UInt64{user.recordCount};
    json["records"]["mark"] = Json::Int64{user.mark};
    return json;
}

Json::Value PlanJson(const Plan& plan) {
    Json::Value json;
    json["requests"] = Json::Value(Json::arrayValue);
    for (const auto& [name, why] : plan.requests) {
        Json::Value request;
        request["request"] = name;
        request["why"] = why;
        json["requests"].append(std::move(request));
    }
    json["words"] = plan.words;
    return json;
}

Json::Value BluetoothJson(const std::vector<BluetoothDevice>& devices) {
    Json::Value json(Json::arrayValue);
    for (const auto& [address, isPaired, name] : devices) {
        Json::Value device;
        device["address"] = address;
        device["paired"] = isPaired;
        device["name"] = name.empty() ? Json::Value() : Json::Value(name);
        json.append(std::move(device));
    }
    return json;
}

Json::Value ProblemsJson(const std::vector<Problem>& problems) {
    Json::Value json(Json::arrayValue);
    for (const Problem& problem : problems) {
        Json::Value entry;
        entry["subject"] = problem.subject;
        entry["problem"] = problem.words;
        if (problem.line != 0) {
            entry["line"] = Json::UInt64{problem.line};
        }
        json.append(std::move(entry));
    }
    return json;
}

/** Writes lines with a label each, in the width of what they are shown on. */
class Lines {
public:
    explicit Lines(const Cli::Style& style) : m_style(style) {}

    void Add(const std::string& label, const std::string& text) {
        m_text += Cli::Pad(label, LABEL_WIDTH) + Cli::Wrap(text, LABEL_WIDTH, m_style.Width());
    }

    void AddState(const std::string& label, const State& state, const std::string& what = "") {
        Add("  " + label, StateWords(state, what));
    }

    /** @param what stands before what tells one of its kind from another */
    std::string StateWords(const State& state, const std::string& what = "") const {
        const std::string duration = Cli::DurationText(state.secondsLeft);
        const std::string detail =
            state.detail.empty() ? "" : ", " + m_style(Colour::DIM, what + Cli::Escape(state.detail));
        switch (state.kind) {
            case Kind::VALID:
                return m_style(Colour::GREEN, "valid") + ", " + duration + " left" + detail;
            case Kind::EXPIRED:
                return m_style(Colour::YELLOW, "ran out") + " " + duration + " ago" + detail;
            case Kind::DAMAGED:
            case Kind::FORBIDDEN:
                return m_style(Colour::RED, NameOf(state.kind));  // why is one of the problems
            default:
                return NameOf(state.kind);
        }
    }

    void AddUser(const UserStatus& user) {
        m_text += "\n" + m_style(Colour::BOLD, Cli::Escape(user.user)) +
                  (user.isSignedIn ? " (signed in)" : "") + "\n";
        AddState("access token", user.accessToken);
        AddState("refresh token", user.refreshToken);
        AddState("activation", user.activation, "device id ");
        AddState("application token", user.appToken);
        const std::string mark = user.mark > 0 ? ", mark of the last run " + std::to_string(user.mark)
                                               : ", no mark: the next run asks for all";
        Add("  records", user.records.kind == Kind::STORED ? Cli::Count(user.recordCount, "record") + mark
                                                           : StateWords(user.records));
    }

    void AddProblem(const Problem& problem) {
        const std::string place = problem.line == 0 ? "" : ", line " + std::to_string(problem.line);
        const std::string about = problem.subject + place + ": ";
        m_text += m_style(Colour::RED, Cli::Escape(about)) +
                  Cli::Wrap(Cli::EscapeLines(problem.words), 4, m_style.Width());
    }

    void AddBlank() {
        m_text += "\n";
    }

    const std::string& Text() const {
        return m_text;
    }

private:
    const Cli::Style& m_style;
    std::string m_text;
};

std::string BluetoothWords(const std::vector<BluetoothDevice>& devices, bool isPaired) {
    std::vector<std::string> words;
    for (const BluetoothDevice& device : devices) {
        if (device.isPaired == isPaired) {
            words.push_back(device.address + (device.name.empty() ? "" : " " + device.name));
        }
    }
    return Cli::Escape(Cli::Join(words, ", "));
}

}  // namespace

Json::Value ToJson(const Status& status) {
    Json::Value json;
    json["folder"] = status.folder;
    json["signed_in"] = status.isSignedIn;
    json["login_id"] = status.loginId.empty() ? Json::Value() : Json::Value(status.loginId);
    json["users"] = Json::Value(Json::arrayValue);
    for (const UserStatus& user : status.users) {
        json["users"].append(UserJson(user));
    }
    json["devices"] = StateJson(status.devices);
    json["devices"]["count"] = Json::UInt64{status.deviceCount};
    json["authorisation_code"] = StateJson(status.authCode);
    json["factory_reset_requested"] = status.isFactoryResetRequested;
    json["bluetooth"] = BluetoothJson(status.bluetooth);
    json["cloud"]["folder"] = status.cloud.folder.empty() ? Json::Value() : Json::Value(status.cloud.folder);
    json["cloud"]["port"] = status.cloud.port == 0 ? Json::Value() : Json::Value(status.cloud.port);
    json["cloud"]["words"] = status.cloud.words;
    json["last_run"] = status.lastRun ? status.lastRun->ToJson() : Json::Value();
    json["next_run"] = PlanJson(status.nextRun);
    json["problems"] = ProblemsJson(status.problems);
    return json;
}

std::string StatusText(const Status& status, std::int64_t now, const Cli::Style& style) {
    Lines lines(style);
    lines.Add("television", Cli::Escape(status.folder));
    lines.Add("user", !status.isSignedIn       ? "nobody is signed in"
                      : status.loginId.empty() ? "signed in, without a login id"
                                               : Cli::Escape(status.loginId));
    lines.Add("device list", status.devices.kind == Kind::STORED ? Cli::Count(status.deviceCount, "device")
                                                                 : lines.StateWords(status.devices));
    if (status.isFactoryResetRequested) {
        lines.Add("factory reset", style(Colour::YELLOW, "at the next run"));
    }
    for (const bool isPaired : {true, false}) {
        const std::string words = BluetoothWords(status.bluetooth, isPaired);
        if (!words.empty()) {
            lines.Add(isPaired ? "paired" : "known, not paired", words);
        }
    }
    lines.Add("cloud", Cli::Escape(status.cloud.words));
    lines.Add("last run", status.lastRun ? KeptRunWords(*status.lastRun, now, style) : "none yet");
    const std::string requests = status.lastRun ? Log::RequestsWords(status.lastRun->story) : "";
    if (!requests.empty()) {
        lines.Add("", Cli::Escape("it asked for: " + requests));
    }
    lines.Add("next run", Cli::Escape(status.nextRun.words));
    for (const UserStatus& user : status.users) {
        lines.AddUser(user);
    }
    for (const Problem& problem : status.problems) {
        if (&problem == &status.problems.front()) {
            lines.AddBlank();
        }
        lines.AddProblem(problem);
    }
    return lines.Text();
}

}  // namespace Television
