#include "Cli/Help.h"

#include <algorithm>
#include <utility>

#include "Cli/Text.h"

namespace Cli {

namespace {

using Entry = std::pair<std::string, std::string>;

std::string Section(const std::string& title, const std::string& body, const Style& style) {
    return body.empty() ? "" : "\n" + style(Colour::BOLD, title + ":") + "\n" + body;
}

std::string TwoColumns(const std::vector<Entry>& entries) {
    std::size_t width = 0;
    for (const auto& [term, meaning] : entries) {
        width = std::max(width, DisplayWidth(term));
    }
    std::string text;
    for (const auto& [term, meaning] : entries) {
        text += "  " + Pad(term, width) + "  " + meaning + "\n";
    }
    return text;
}

std::string Options(std::vector<Option> options) {
    options.push_back({"help", "", "show this help"});
    std::vector<Entry> entries;
    entries.reserve(options.size());
    for (const Option& option : options) {
        entries.emplace_back("--" + option.name + (option.valueName.empty() ? "" : " " + option.valueName),
                             option.help);
    }
    return TwoColumns(entries);
}

std::string Examples(const std::vector<std::string>& examples) {
    std::string text;
    for (const std::string& example : examples) {
        text += "  " + example + "\n";
    }
    return text;
}

std::string Paragraph(const std::string& text) {
    return text.empty() ? "" : "\n" + text + "\n";
}

std::string Commands(const Tool& tool, const std::string& prefix) {
    std::vector<Entry> entries;
    for (const Command& command : tool.commands) {
        if (command.name.rfind(prefix, 0) == 0) {
            entries.emplace_back(Join({command.name, Join(command.operands, " ")}, " "), command.summary);
        }
    }
    return TwoColumns(entries);
}

}  // namespace

std::string ToolHelp(const Tool& tool, const Style& style) {
    return tool.summary + "\n" + Section("Usage", "  " + tool.name + " [options] COMMAND ...\n", style) +
           Section("Commands", Commands(tool, ""), style) + Section("Options", Options(tool.options), style) +
           Section("Examples", Examples(tool.examples), style) + Paragraph(tool.details);
}

std::string GroupHelp(const Tool& tool, const std::string& word, const Style& style) {
    return Section("Usage", "  " + tool.name + " " + word + " COMMAND ...\n", style).substr(1) +
           Section("Commands", Commands(tool, word + " "), style) +
           Section("Options", Options(tool.options), style);
}

std::string CommandHelp(const Tool& tool, const Command& command, const Style& style) {
    std::vector<Option> options = command.options;
    options.insert(options.end(), tool.options.begin(), tool.options.end());
    return command.summary + "\n" + Paragraph(command.details) +
           Section("Usage", "  " + Usage(tool, command) + "\n", style) +
           Section("Options", Options(std::move(options)), style) +
           Section("Examples", Examples(command.examples), style);
}

std::string Usage(const Tool& tool, const Command& command) {
    const std::string operands = Join(command.operands, " ");
    return tool.name + " " + command.name + " [options]" + (operands.empty() ? "" : " " + operands);
}

}  // namespace Cli
