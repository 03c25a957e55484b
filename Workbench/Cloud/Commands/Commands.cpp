#include "Cloud/Commands/Commands.h"

#include <memory>

#include "Cloud/Service/Users.h"

namespace LocalCloud {

void AddJsonCommand(Cli::Tool& tool, const std::string& name, const std::string& summary,
                    const std::string& details, const std::function<void(bool json)>& run) {
    const auto json = std::make_shared<bool>(false);
    CLI::App& command = tool.Command(name, summary, details);
    command.add_flag("--json", *json, JSON_HELP);
    command.callback([json, run] { run(*json); });
}

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
