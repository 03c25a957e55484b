#include <glib.h>

#include <algorithm>
#include <limits>

#include "Cli/Json.h"
#include "Cli/Text.h"
#include "Television/Log/Story.h"

namespace Log {

namespace {

constexpr std::size_t NAME_WIDTH = 14;
constexpr std::size_t MOST_RECORDS_SHOWN = 20;

std::string Paragraph(const std::string& name, const std::string& text, const Cli::Style& style) {
    return "  " + Cli::Pad(name, NAME_WIDTH - 2) + Cli::Wrap(Cli::Escape(text), NAME_WIDTH, style.Width());
}

std::string RecordsText(const std::vector<Record>& records, const Cli::Style& style) {
    const std::string indent = std::string(NAME_WIDTH, ' ') + "- ";
    // What is no terminal gets all of them: who has one wants to search.
    const bool isTerminal = style.Width() < std::size_t{std::numeric_limits<int>::max()};
    const std::size_t shown = isTerminal ? std::min(records.size(), MOST_RECORDS_SHOWN) : records.size();
    std::string text;
    for (std::size_t i = 0; i < shown; ++i) {
        const Record& record = records[i];
        const std::string who = record.name.empty()
                                    ? record.id
                                    : Cli::Join({record.name, record.address, "(" + record.id + ")"}, " ");
        text += indent + Cli::Wrap(Cli::Escape(Cli::Join({who, ListingWords(record)}, ": ")), indent.size(),
                                   style.Width());
    }
    return shown == records.size() ? text
                                   : text + indent + "and " + std::to_string(records.size() - shown) +
                                         " more: --device NAME, --json or --html\n";
}

Json::Value TextOrNull(const std::string& text) {
    return text.empty() ? Json::Value() : Json::Value(text);
}

Json::Value ToJson(const std::string& text) {
    return text;
}

Json::Value ToJson(const Record& record) {
    Json::Value json;
    json["id"] = record.id;
    json["name"] = TextOrNull(record.name);
    json["address"] = TextOrNull(record.address);
    json["services"] = TextOrNull(record.services);
    json["listing"] = ListingName(record.listing);
    json["words"] = ListingWords(record);
    return json;
}

Json::Value ToJson(const Exchange& exchange) {
    Json::Value json;
    json["request"] = exchange.request;
    json["answered"] = exchange.answered;
    json["status"] = exchange.status;
    json["seconds"] = exchange.seconds;
    json["mark"] = exchange.mark;
    return json;
}

Json::Value ToJson(const Chapter& chapter);

template <typename Values>
Json::Value Array(const Values& values) {
    Json::Value array(Json::arrayValue);
    for (const auto& value : values) {
        array.append(ToJson(value));
    }
    return array;
}

Json::Value ToJson(const Chapter& chapter) {
    Json::Value json;
    json["chapter"] = chapter.name;
    json["sign"] = chapter.sign == Sign::FINE ? "fine" : chapter.sign == Sign::FAULT ? "fault" : "unknown";
    json["told"] = Array(chapter.told);
    json["not_told"] = Array(chapter.untold);
    return json;
}

std::vector<std::string> Texts(const Json::Value& array) {
    std::vector<std::string> texts;
    for (const Json::Value& text : array.isArray() ? array : Json::Value(Json::arrayValue)) {
        texts.push_back(text.isString() ? text.asString() : "");
    }
    return texts;
}

std::string Folded(const std::string& text) {
    return Cli::Taken(g_utf8_casefold(text.c_str(), -1));
}

}  // namespace

void Narrow(Story& story, const std::string& device) {
    const std::string wanted = Folded(device);
    const auto isOther = [&wanted](const Record& record) {
        const std::string all = Folded(record.name + "\n" + record.address + "\n" + record.id);
        return all.find(wanted) == std::string::npos;
    };
    story.records.erase(std::remove_if(story.records.begin(), story.records.end(), isOther),
                        story.records.end());
}

std::string StoryText(const Story& story, const Cli::Style& style) {
    const Cli::Colour colour = story.outcome == SUCCESS    ? Cli::Colour::GREEN
                               : story.outcome == NOT_TOLD ? Cli::Colour::YELLOW
                                                           : Cli::Colour::RED;
    std::string text = style(Cli::Colour::BOLD, "run " + std::to_string(story.number) + ": ") +
                       style(colour, story.outcome) + "\n  " +
                       Cli::Wrap(Cli::Escape(Cli::Join(story.heading, ", ")), 2, style.Width());
    text += story.user.empty() ? "" : Paragraph("user", story.user, style);
    for (const Chapter& chapter : story.chapters) {
        const std::string paragraph = Paragraph(chapter.name, chapter.Words(), style);
        text += chapter.sign == Sign::FAULT ? style(Cli::Colour::RED, paragraph) : paragraph;
        text += chapter.name == "list" ? RecordsText(story.records, style) : "";
    }
    text += story.reason.empty()
                ? ""
                : style(colour, Paragraph(story.outcome, Cli::Join(story.reason, "; "), style));
    for (const std::string& remedy : story.remedies) {
        text += Paragraph("what to do", remedy, style);
    }
    return text;
}

Json::Value StoryJson(const Story& story) {
    Json::Value json;
    json["run"] = Json::UInt64{story.number};
    json["user"] = TextOrNull(story.user);
    json["outcome"] = story.outcome;
    json["reason"] = Array(story.reason);
    json["what_to_do"] = Array(story.remedies);
    json["heading"] = Array(story.heading);
    json["story"] = Array(story.chapters);
    json["requests"] = Array(story.requests);
    json["mark"] = story.mark;
    json["next_mark"] = story.nextMark;
    json["records"] = Array(story.records);
    return json;
}

Story StoryFromJson(const Json::Value& json) {
    Story story;
    story.outcome = Cli::TextMember(json, "outcome");
    story.user = Cli::TextMember(json, "user");
    story.reason = Texts(json["reason"]);
    story.remedies = Texts(json["what_to_do"]);
    for (const Json::Value& request :
         json["requests"].isArray() ? json["requests"] : Json::Value(Json::arrayValue)) {
        if (request.isObject()) {
            story.requests.push_back({Cli::TextMember(request, "request"),
                                      request["answered"] == Json::Value(true), request["status"],
                                      request["seconds"], request["mark"]});
        }
    }
    return story;
}

}  // namespace Log
