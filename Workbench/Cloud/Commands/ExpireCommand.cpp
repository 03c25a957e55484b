#include <algorithm>
#include <iostream>
#include <iterator>

#include "Cli/Text.h"
#include "Cloud/Commands/Commands.h"
#include "Cloud/Protocol/Endpoints.h"
#include "Cloud/State/Tokens.h"
#include "Cloud/State/Users.h"
#include "Files.h"

namespace LocalCloud {

namespace {

constexpr char MARK[] = "mark";

struct ExpireArguments {
    std::string what;
    std::string login;
    std::string code = TextOf(ResultCode::MARK_TOO_OLD);
};

void ExpireMark(const Folder& folder, const ExpireArguments& arguments) {
    const Cli::FileLock oneAtATime = folder.LockForEdit();
    Users(folder).RequireExists(arguments.login);
    Files::Replace(folder.ExpiredMarkFile(arguments.login), arguments.code + "\n");
    std::cout << "The next download of " << Cli::Escape(arguments.login)
              << " that asks from a mark is refused with " << arguments.code << "\n";
}

void ExpireHolding(const Folder& folder, const Holding& holding, const std::string& login) {
    const std::int64_t expired = TokenStore(folder).Expire(holding, login);
    if (expired == 0) {
        Users(folder).RequireExists(login);
    }
    std::cout << "expired: " << Cli::Count(static_cast<std::uint64_t>(expired), holding.noun) << "\n"
              << (expired > 0 ? std::string("It shows ") + holding.shows + ".\n" : "");
}

void Expire(const ExpireArguments& arguments) {
    const Folder folder = Folder::Ready();
    if (arguments.what == MARK) {
        ExpireMark(folder, arguments);
        return;
    }
    for (const Holding* holding : HOLDINGS) {
        if (arguments.what == holding->name) {
            ExpireHolding(folder, *holding, arguments.login);
        }
    }
}

void DeclareExpire(Cli::Command& command, ExpireArguments& arguments) {
    std::vector<std::string> words;
    std::transform(std::begin(HOLDINGS), std::end(HOLDINGS), std::back_inserter(words),
                   [](const Holding* holding) { return holding->name; });
    words.emplace_back(MARK);
    const std::string tooOld = TextOf(ResultCode::MARK_TOO_OLD);
    const std::string unknown = TextOf(ResultCode::MARK_UNKNOWN);
    command.Operand("WHAT", arguments.what, Cli::Join(words, ", ")).Required().OneOf(words);
    command.Operand("USER", arguments.login).Required();
    command
        .Option("--code", "RCODE", arguments.code,
                "of a mark: " + tooOld + " (too old, the default) or " + unknown + " (unknown)")
        .OneOf({tooOld, unknown});
}

}  // namespace

void AddExpireCommand(Cli::Tool& tool) {
    tool.Add("expire", "End what a user holds now, whatever its lifetime",
             R"(The cloud refuses the user's access tokens, refresh tokens, device ids
(activation) or application tokens from now on; the client believes that it may
still use them. A mark is refused once, with the next download that asks from
one: the client is then to forget its records and to download everything.

Works with and without a running server.

Examples:
  infosync-cloud expire app ann@example.com
  infosync-cloud expire mark ann@example.com --code 4000002)",
             &DeclareExpire, &Expire);
}

}  // namespace LocalCloud
