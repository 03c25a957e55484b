#include "Cloud/Commands/Commands.h"

#include "Cloud/Service/Users.h"

namespace LocalCloud {

void AddLogin(Cli::Tool& tool, CLI::App& command, std::string& login, const std::string& name) {
    tool.Offer(command.add_option(name, login),
               [] {
                   Cli::Candidates candidates;
                   for (const auto& known : Users(Folder()).List()) {
                       candidates.push_back({known, ""});
                   }
                   return candidates;
               })
        ->required();
}

}  // namespace LocalCloud
