#include <ctime>
#include <iostream>
#include <memory>

#include "Cli/FileLock.h"
#include "Cli/Text.h"
#include "Cloud/Commands/Commands.h"
#include "Cloud/Commands/ControlClient.h"
#include "Cloud/Service/CloudService.h"
#include "Cloud/Service/Users.h"
#include "Cloud/Util/Errors.h"
#include "Files.h"

namespace LocalCloud {

namespace {

/** In the running server, or where none runs in the folder, which none can take meanwhile. */
std::int64_t Expire(const Folder& folder, const std::string& kind, const std::string& login) {
    const Cli::FileLock alone(folder.StateFile("serve.lock"), Cli::FileLock::Wait::NO);
    if (alone.IsHeld()) {
        return TokenStore(folder, [] { return std::int64_t{std::time(nullptr)}; }).Expire(kind, login);
    }
    Json::Value what;
    what["kind"] = kind;
    what["user"] = login;
    return ControlClient(folder).Post("/expire", what)["expired"].asInt64();
}

void AddExpire(Cli::Tool& tool, const std::string& kind, const std::string& noun,
               const std::string& consequence) {
    const auto login = std::make_shared<std::string>();
    CLI::App& command = tool.Command(
        "expire " + kind, "End a user's " + noun + "s now",
        consequence +
            " The client believes that it may still use them.\n\nExample:\n  infosync-cloud expire " + kind +
            " ann@example.com");
    tool.Offer(command.add_option("USER", *login), &LoginCandidates)->required();
    command.callback([kind, noun, login] {
        const Folder folder;
        folder.RequireReady();
        const std::int64_t expired = Expire(folder, kind, *login);
        if (expired == 0) {
            Users(folder).RequireExists(*login);
        }
        std::cout << "expired: " << Cli::Count(static_cast<std::uint64_t>(expired), noun) << "\n";
    });
}

void ExpireMark(const std::string& login, const std::string& code) {
    const Folder folder;
    folder.RequireReady();
    Users(folder).RequireExists(login);
    Files::Replace(folder.ExpiredMarkFile(login), code + "\n");
    std::cout << "The next download of " << login << " that asks from a mark is refused with " << code
              << "\n";
}

void AddExpireMark(Cli::Tool& tool) {
    const std::string tooOld = std::to_string(static_cast<int>(ResultCode::MarkTooOld));
    const std::string unknown = std::to_string(static_cast<int>(ResultCode::MarkUnknown));
    const auto login = std::make_shared<std::string>();
    const auto code = std::make_shared<std::string>(tooOld);
    CLI::App& command =
        tool.Command("expire mark", "Refuse the mark that a user's next download asks from, once",
                     R"(The client is then to forget its records and to download everything.

Example:
  infosync-cloud expire mark ann@example.com --code 4000002)");
    tool.Offer(command.add_option("USER", *login), &LoginCandidates)->required();
    tool.OneOf(command.add_option("--code", *code,
                                  tooOld + " (too old, the default) or " + unknown + " (unknown)"),
               {tooOld, unknown})
        ->option_text("RCODE");
    command.callback([login, code] { ExpireMark(*login, *code); });
}

}  // namespace

void AddExpireCommands(Cli::Tool& tool) {
    AddExpire(tool, "access", "access token", "The cloud refuses them from now on, with 4010001.");
    AddExpire(tool, "refresh", "refresh token", "The authorisation server refuses them from now on.");
    AddExpire(tool, "activation", "activation",
              "The cloud refuses their device ids from now on, with 4030002.");
    AddExpire(tool, "app", "application token", "The cloud refuses them from now on, with 4010002.");
    AddExpireMark(tool);
}

}  // namespace LocalCloud
