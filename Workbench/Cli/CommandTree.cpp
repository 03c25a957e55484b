#include "Cli/CommandTree.h"

namespace Cli {

std::string FullName(const CLI::App& command) {
    const CLI::App* parent = command.get_parent();
    return parent == nullptr ? command.get_name() : FullName(*parent) + " " + command.get_name();
}

std::vector<const CLI::App*> Subcommands(const CLI::App& group) {
    return group.get_subcommands(std::function<bool(const CLI::App*)>());
}

const CLI::App& Selected(const CLI::App& tool) {
    const auto selected = tool.get_subcommands();
    return selected.empty() ? tool : Selected(*selected.back());
}

std::vector<std::string> Operands(const CLI::App& command) {
    std::vector<std::string> operands;
    for (const CLI::Option* option : command.get_options()) {
        if (option->get_positional()) {
            const bool isOpen = option->get_allow_extra_args();
            const std::string name = option->get_name(true) + (isOpen ? "..." : "");
            operands.push_back(option->get_required() ? name : "[" + name + "]");
        }
    }
    return operands;
}

std::vector<const CLI::Option*> Options(const CLI::App& command) {
    std::vector<const CLI::Option*> options;
    for (const CLI::App* app = &command; app != nullptr; app = app->get_parent()) {
        for (const CLI::Option* option : app->get_options()) {
            const bool isOfTool = option == app->get_help_ptr() || option == app->get_version_ptr();
            if (option->nonpositional() &&
                (!isOfTool || (app == &command && option != app->get_help_ptr()))) {
                options.push_back(option);
            }
        }
    }
    options.push_back(command.get_help_ptr());
    return options;
}

std::vector<std::string> Names(const CLI::Option& option) {
    std::vector<std::string> names;
    for (const std::string& name : option.get_snames()) {
        names.push_back("-" + name);
    }
    for (const std::string& name : option.get_lnames()) {
        names.push_back("--" + name);
    }
    return names;
}

}  // namespace Cli
