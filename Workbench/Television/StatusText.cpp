#include <unistd.h>

#include "Cli/Style.h"
#include "Cli/Text.h"
#include "Cli/Time.h"
#include "Television/KeptRun.h"
#include "Television/Status.h"

namespace Television {

namespace {

using Cli::Colour;

constexpr std::size_t LABEL_WIDTH = 21;

std::string Line(const std::string& label, const std::string& text, const std::string& indent = "") {
    return indent + Cli::Pad(label, LABEL_WIDTH - indent.size()) + text + "\n";
}

std::string Wrapped(const std::string& label, const std::string& text, const std::string& indent = "") {
    return indent + Cli::Pad(label, LABEL_WIDTH - indent.size()) +
           Cli::Wrap(text, LABEL_WIDTH, Cli::Style(STDOUT_FILENO).Width());
}

std::string StateWords(const Json::Value& state, const Cli::Style& style) {
    const std::string name = state["state"].asString();
    if (name == "damaged" || name == "forbidden") {
        return style(Colour::RED, name + ": " + Cli::Escape(state["problem"].asString()));
    }
    const std::string duration = Cli::DurationText(state["seconds_left"].asInt64());
    std::string words = name == "valid"     ? style(Colour::GREEN, "valid") + ", " + duration + " left"
                        : name == "expired" ? style(Colour::YELLOW, "ran out") + " " + duration + " ago"
                                            : name;
    if (state.isMember("token")) {
        words += "  " + style(Colour::DIM, Cli::Escape(state["token"].asString()));
    }
    return words;
}

std::string ActivationWords(const Json::Value& state, const Cli::Style& style) {
    const std::string device = state["device_id"].asString();
    return StateWords(state, style) +
           (device.empty() ? "" : "  " + style(Colour::DIM, "device id " + Cli::Escape(device)));
}

std::string RecordsWords(const Json::Value& state, const Cli::Style& style) {
    if (state["state"].asString() != "stored") {
        return StateWords(state, style);
    }
    const std::int64_t mark = state["mark"].asInt64();
    return Cli::Count(state["count"].asUInt(), "record") +
           (mark > 0 ? ", mark of the last run " + std::to_string(mark)
                     : ", no mark: the next run asks for all");
}

std::string UserText(const Json::Value& user, const Cli::Style& style) {
    const std::string indent = "  ";
    std::string text = "\n" + style(Colour::BOLD, Cli::Escape(user["user"].asString())) +
                       (user["signed_in"].asBool() ? " (signed in)" : "") + "\n";
    text += Line("access token", StateWords(user["access_token"], style), indent);
    text += Line("refresh token", StateWords(user["refresh_token"], style), indent);
    text += Wrapped("activation", ActivationWords(user["activation"], style), indent);
    text += Line("application token", StateWords(user["application_token"], style), indent);
    text += Line("records", RecordsWords(user["records"], style), indent);
    return text;
}

}  // namespace

std::string StatusText(const Json::Value& status, std::int64_t now, const Cli::Style& style) {
    const bool isSignedIn = status["signed_in"].asBool();
    std::string text = Line("television", Cli::Escape(status["folder"].asString()));
    text += Line("user", !isSignedIn                   ? "nobody is signed in"
                         : status["login_id"].isNull() ? "signed in, without a login id"
                                                       : Cli::Escape(status["login_id"].asString()));
    const Json::Value& devices = status["devices"];
    text += Line("device list", devices["state"].asString() == "stored"
                                    ? Cli::Count(devices["count"].asUInt(), "device")
                                    : StateWords(devices, style));
    if (status["factory_reset_requested"].asBool()) {
        text += Line("factory reset", style(Colour::YELLOW, "at the next run"));
    }
    text += Wrapped("cloud", Cli::Escape(status["cloud"]["words"].asString()));
    text += Wrapped("last run", KeptRunWords(status["last_run"], now, style));
    const std::string requests = RequestsWords(status["last_run"]["requests"]);
    text += requests.empty() ? "" : Wrapped("", Cli::Escape("it asked for: " + requests));
    text += Wrapped("next run", Cli::Escape(status["next_run"]["words"].asString()));
    for (const Json::Value& user : status["users"]) {
        text += UserText(user, style);
    }
    const auto tell = [&](const char* list, Colour colour, const std::string& before,
                          const std::string& after) {
        for (const Json::Value& entry : status[list]) {
            const std::string subject = entry[entry.isMember("line") ? "line" : "document"].asString();
            const std::string about = Cli::Join({before, Cli::Escape(subject), after}, "");
            text += "\n" + style(colour, about) + Cli::Escape(entry["problem"].asString());
        }
        text += status[list].empty() ? "" : "\n";
    };
    tell("damaged", Colour::RED, "", " is damaged: ");
    tell("forbidden", Colour::RED, "", " is not yours to read: ");
    tell("warnings", Colour::YELLOW, "tv.ini, line ", ": ");
    return text;
}

}  // namespace Television
