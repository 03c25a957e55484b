#include <glib.h>
#include <unistd.h>

#include <iostream>
#include <memory>

#include "Cli/Json.h"
#include "Cli/Table.h"
#include "Cli/Text.h"
#include "Cloud/Commands/Commands.h"
#include "Cloud/Commands/ControlClient.h"
#include "Cloud/Protocol/CloudRequests.h"
#include "Cloud/State/Settings.h"
#include "Cloud/State/Users.h"
#include "Files.h"

namespace LocalCloud {

namespace {

// Far enough for any purpose, and short of where milliseconds since the epoch end.
constexpr std::int64_t LONGEST_LIFETIME = 1'000'000'000'000;

void ShowLifetimes(bool json) {
    const Folder folder = Folder::Ready();
    const Settings settings(folder.SettingsFile());
    Json::Value value;
    Cli::Table table({"NAME", "SECONDS"});
    for (const auto& name : Settings::LifetimeNames()) {
        const std::int64_t seconds = settings.Lifetime(name);
        value[name] = Json::Int64(seconds);
        table.Add({name, std::to_string(seconds)});
    }
    std::cout << (json ? Cli::JsonText(value) : table.Text(Cli::Style(STDOUT_FILENO)));
}

void SetLifetime(const std::string& name, std::int64_t seconds) {
    const Folder folder = Folder::Ready();
    const Cli::FileLock oneAtATime = folder.LockForEdit();
    Settings(folder.SettingsFile()).SetLifetime(name, seconds);
    std::cout << name << ": " << seconds << " s from the next one on\n";
}

void AddLifetime(Cli::Tool& tool) {
    struct Arguments {
        std::string name;
        std::int64_t seconds = -1;
    };
    const auto arguments = std::make_shared<Arguments>();
    Cli::Command command = tool.AddReading(
        "lifetime",
        "Show or set how long what the cloud hands out is valid: access, refresh, activation, app",
        R"(What was handed out before keeps its time.

Examples:
  infosync-cloud lifetime
  infosync-cloud lifetime access 60)",
        [arguments](bool json) {
            if (arguments->name.empty()) {
                ShowLifetimes(json);
            } else if (arguments->seconds < 0) {
                throw Cli::UsageError("how many seconds? For example: infosync-cloud lifetime " +
                                      arguments->name + " 60");
            } else {
                SetLifetime(arguments->name, arguments->seconds);
            }
        });
    command.Operand("NAME", arguments->name).OneOf(Settings::LifetimeNames());
    command.Operand("SECONDS", arguments->seconds).Between(0, LONGEST_LIFETIME);
}

/** What can be ended at once. */
struct Kind {
    const char* name;
    const char* noun;
    const char* refusal;
    /** When that is seen: the client itself believes that it may still use what it holds. */
    const char* shows;
};

constexpr Kind KINDS[] = {
    {"access", "access token", "The cloud refuses them from now on, with 4010001.",
     "when a television next activates itself or asks for an application token"},
    {"refresh", "refresh token", "The authorisation server refuses them from now on.",
     "when a television's access token has run out (infosync-cloud lifetime access)"},
    {"activation", "activation", "The cloud refuses their device ids from now on, with 4030002.",
     "when a television next asks for an application token"},
    {"app", "application token", "The cloud refuses them from now on, with 4010002.",
     "with a television's next download"},
};

/** In the running server, or where none runs in the folder, which none can take meanwhile. */
std::int64_t Expire(const Folder& folder, const std::string& kind, const std::string& login) {
    const Cli::FileLock alone = folder.LockForServing();
    if (alone.IsHeld()) {
        return TokenStore(folder, [] { return g_get_real_time() / G_USEC_PER_SEC; }).Expire(kind, login);
    }
    Json::Value what;
    what["kind"] = kind;
    what["user"] = login;
    return AskServer(folder, "POST", "/expire", what)["expired"].asInt64();
}

void AddExpire(Cli::Tool& tool, const Kind& kind) {
    const auto login = std::make_shared<std::string>();
    const auto run = [kind, login] {
        const Folder folder = Folder::Ready();
        const std::int64_t expired = Expire(folder, kind.name, *login);
        if (expired == 0) {
            Users(folder).RequireExists(*login);
        }
        std::cout << "expired: " << Cli::Count(static_cast<std::uint64_t>(expired), kind.noun) << "\n";
        std::cout << (expired > 0 ? std::string("It shows ") + kind.shows + ".\n" : "");
    };
    tool.Add(std::string("expire ") + kind.name, std::string("End a user's ") + kind.noun + "s now",
             std::string(kind.refusal) +
                 "\nThe client believes that it may still use them.\n\nExample:\n  infosync-cloud expire " +
                 kind.name + " ann@example.com",
             run)
        .Operand("USER", *login)
        .Required();
}

void ExpireMark(const std::string& login, const std::string& code) {
    const Folder folder = Folder::Ready();
    Users(folder).RequireExists(login);
    Files::Replace(folder.ExpiredMarkFile(login), code + "\n");
    std::cout << "The next download of " << login << " that asks from a mark is refused with " << code
              << "\n";
}

void AddExpireMark(Cli::Tool& tool) {
    const std::string tooOld = TextOf(ResultCode::MarkTooOld);
    const std::string unknown = TextOf(ResultCode::MarkUnknown);
    const auto login = std::make_shared<std::string>();
    const auto code = std::make_shared<std::string>(tooOld);
    Cli::Command command =
        tool.Add("expire mark", "Refuse the mark that a user's next download asks from, once",
                 R"(The client is then to forget its records and to download everything.

Example:
  infosync-cloud expire mark ann@example.com --code 4000002)",
                 [login, code] { ExpireMark(*login, *code); });
    command.Operand("USER", *login).Required();
    command.Option("--code", "RCODE", *code, tooOld + " (too old, the default) or " + unknown + " (unknown)")
        .OneOf({tooOld, unknown});
}

}  // namespace

void AddLifetimeCommands(Cli::Tool& tool) {
    AddLifetime(tool);
    for (const Kind& kind : KINDS) {
        AddExpire(tool, kind);
    }
    AddExpireMark(tool);
}

}  // namespace LocalCloud
