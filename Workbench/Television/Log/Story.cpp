#include "Television/Log/Story.h"

#include <algorithm>
#include <limits>

#include "Cli/Json.h"
#include "Cli/Text.h"

namespace Log {

namespace {

constexpr std::size_t NAME_WIDTH = 14;

std::string Paragraph(const std::string& name, const std::string& text, const Cli::Style& style) {
    return "  " + Cli::Pad(name, NAME_WIDTH - 2) + Cli::Wrap(Cli::Escape(text), NAME_WIDTH, style.Width());
}

std::string RecordsText(const Json::Value& records, const Cli::Style& style) {
    constexpr Json::ArrayIndex MOST_SHOWN = 20;
    const std::string indent = std::string(NAME_WIDTH, ' ') + "- ";
    // What is no terminal gets all of them: who has one wants to search.
    const bool isTerminal = style.Width() < std::size_t{std::numeric_limits<int>::max()};
    const Json::ArrayIndex shown = isTerminal ? std::min(records.size(), MOST_SHOWN) : records.size();
    std::string text;
    for (Json::ArrayIndex i = 0; i < shown; ++i) {
        const auto member = [&record = records[i]](const char* name) {
            return Cli::StringMember(record, name);
        };
        const std::string who = member("name").empty()
                                    ? member("id")
                                    : member("name") + " " + member("address") + " (" + member("id") + ")";
        text.append(indent).append(
            Cli::Wrap(Cli::Escape(who + ": " + member("words")), indent.size(), style.Width()));
    }
    return shown == records.size() ? text
                                   : text + indent + "and " + std::to_string(records.size() - shown) +
                                         " more: --device NAME, --json or --html\n";
}

}  // namespace

std::string Joined(const Json::Value& words, const char* separator) {
    std::vector<std::string> texts;
    for (const Json::Value& each : words) {
        texts.push_back(each.isString() ? each.asString() : "");
    }
    return Cli::Join(texts, separator);
}

std::string ChapterText(const Json::Value& chapter) {
    std::string text = Joined(chapter["told"], ", ");
    for (const Json::Value& untold : chapter["not_told"]) {
        text.append(text.empty() ? "not told: " : "; not told: ").append(untold.asString());
    }
    return text;
}

void Narrow(Story& story, const std::string& device) {
    const std::string wanted = Cli::CaseFolded(device);
    Json::Value records(Json::arrayValue);
    for (const Json::Value& record : story["records"]) {
        const std::string all =
            Cli::CaseFolded(Cli::StringMember(record, "name") + "\n" + Cli::StringMember(record, "address") +
                            "\n" + Cli::StringMember(record, "id"));
        if (all.find(wanted) != std::string::npos) {
            records.append(record);
        }
    }
    story["records"] = records;
}

std::string StoryText(const Story& story, const Cli::Style& style) {
    const std::string outcome = story["outcome"].asString();
    const std::string user = Cli::StringMember(story, "user");
    const Cli::Colour colour = outcome == SUCCESS    ? Cli::Colour::GREEN
                               : outcome == NOT_TOLD ? Cli::Colour::YELLOW
                                                     : Cli::Colour::RED;
    std::string text = style(Cli::Colour::BOLD, "run " + story["run"].asString() + ": ") +
                       style(colour, outcome) + "\n  " +
                       Cli::Wrap(Cli::Escape(Joined(story["heading"], ", ")), 2, style.Width()) +
                       (user.empty() ? "" : Paragraph("user", user, style));
    for (const Json::Value& chapter : story["story"]) {
        const std::string paragraph = Paragraph(chapter["chapter"].asString(), ChapterText(chapter), style);
        text += chapter["sign"] == "fault" ? style(Cli::Colour::RED, paragraph) : paragraph;
        text += chapter["chapter"] == "list" ? RecordsText(story["records"], style) : "";
    }
    if (!story["reason"].empty()) {
        text += style(colour, Paragraph(outcome, Joined(story["reason"], "; "), style));
    }
    for (const Json::Value& remedy : story["what_to_do"]) {
        text += Paragraph("what to do", remedy.asString(), style);
    }
    return text;
}

std::string OutcomeWords(const Story& story) {
    const std::string reason = Joined(story["reason"], "; ");
    return Cli::TextMember(story, "outcome") + (reason.empty() ? "" : ": ") + reason;
}

}  // namespace Log
