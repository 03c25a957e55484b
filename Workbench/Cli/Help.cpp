#include "Cli/Help.h"

#include <algorithm>
#include <sstream>
#include <utility>
#include <vector>

#include "Cli/Text.h"

namespace Cli {

namespace {

using Entries = std::vector<std::pair<std::string, std::string>>;

constexpr std::size_t WIDEST_TERM = 28;

/** Prose is wrapped, a paragraph at a time; indented lines, such as examples, stay as they are. */
std::string Details(const std::string& details) {
    std::istringstream lines(details);
    std::string text;
    std::string paragraph;
    const auto endParagraph = [&text, &paragraph] {
        text += paragraph.empty() ? "" : Wrap(paragraph, 0);
        paragraph.clear();
    };
    for (std::string line; std::getline(lines, line);) {
        if (line.empty() || line.front() == ' ') {
            endParagraph();
            text += line + "\n";
        } else {
            paragraph += line + "\n";
        }
    }
    endParagraph();
    return text.empty() ? "" : "\n" + text;
}

std::string TwoColumns(const Entries& entries) {
    constexpr std::size_t GAP = 2;
    std::size_t width = 0;
    for (const auto& [term, meaning] : entries) {
        width = std::max(width, DisplayWidth(term));
    }
    width = std::min(width, WIDEST_TERM);
    std::string text;
    for (const auto& [term, meaning] : entries) {
        const std::size_t indent = GAP + width + GAP;
        const bool fits = DisplayWidth(term) <= width;
        text +=
            std::string(GAP, ' ') + (fits ? Pad(term, width + GAP) : term + "\n" + std::string(indent, ' '));
        text += Wrap(meaning, indent);
    }
    return text;
}

std::string Section(const std::string& title, const Entries& entries, const Style& style) {
    return entries.empty() ? "" : "\n" + style(Colour::BOLD, title + ":") + "\n" + TwoColumns(entries);
}

/** All commands below, each with its operands. */
void AddCommands(const CLI::App& group, const std::string& prefix, Entries& entries) {
    for (const CLI::App* command : Subcommands(group)) {
        const std::string name = prefix + command->get_name();
        if (Subcommands(*command).empty()) {
            std::vector<std::string> words = Operands(*command);
            words.insert(words.begin(), name);
            entries.emplace_back(Join(words, " "), command->get_description());
        } else {
            AddCommands(*command, name + " ", entries);
        }
    }
}

Entries OptionEntries(const CLI::App& command) {
    Entries entries;
    for (const CLI::Option* option : Options(command)) {
        const std::string value = option->get_option_text();
        entries.emplace_back(Join(Names(*option), ", ") + (value.empty() ? "" : " " + value),
                             option->get_description());
    }
    return entries;
}

}  // namespace

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

std::string HelpText(const CLI::App& command, const Style& style) {
    std::vector<std::string> usage = Operands(command);
    usage.insert(usage.begin(), {FullName(command), "[options]"});
    Entries commands;
    const bool isGroup = !Subcommands(command).empty();
    if (isGroup) {
        usage.emplace_back("COMMAND ...");
        AddCommands(command, command.get_parent() == nullptr ? "" : command.get_name() + " ", commands);
    }
    const std::string summary = command.get_description();
    return (summary.empty() ? "" : Wrap(summary + ".", 0) + "\n") + style(Colour::BOLD, "Usage:") + "\n  " +
           Join(usage, " ") + "\n" + Section("Commands", commands, style) +
           Section("Options", OptionEntries(command), style) + Details(command.get_footer());
}

}  // namespace Cli
