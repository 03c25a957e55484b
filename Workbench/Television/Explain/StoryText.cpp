#include <unistd.h>

#include <algorithm>

#include "Cli/Text.h"
#include "Television/Explain/Story.h"

namespace Explain {

namespace {

constexpr std::size_t NAME_WIDTH = 14;
constexpr std::size_t MOST_RECORDS_SHOWN = 20;

std::string Paragraph(const std::string& name, const std::string& text) {
    return "  " + Cli::Pad(name, NAME_WIDTH - 2) +
           Cli::Wrap(Cli::Escape(text), NAME_WIDTH, Cli::Style(STDOUT_FILENO).Width());
}

std::string RecordsText(const std::vector<Record>& records) {
    const std::string indent = std::string(NAME_WIDTH, ' ') + "- ";
    std::string text;
    for (std::size_t i = 0; i < std::min(records.size(), MOST_RECORDS_SHOWN); ++i) {
        const Record& record = records[i];
        const std::string who = record.name.empty()
                                    ? record.id
                                    : Cli::Join({record.name, record.address, "(" + record.id + ")"}, " ");
        text += indent;
        text += Cli::Wrap(Cli::Escape(Cli::Join({who, ListingWords(record)}, ": ")), indent.size(),
                          Cli::Style(STDOUT_FILENO).Width());
    }
    if (records.size() > MOST_RECORDS_SHOWN) {
        const std::string more = std::to_string(records.size() - MOST_RECORDS_SHOWN);
        text.append(indent).append("and ").append(more).append(" more; see --json or --html\n");
    }
    return text;
}

std::string Words(const Chapter& chapter) {
    return chapter.text + (chapter.answer.empty() ? "" : "; " + chapter.answer);
}

Json::Value TextOrNull(const std::string& text) {
    return text.empty() ? Json::Value() : Json::Value(text);
}

Json::Value RecordJson(const Record& record) {
    Json::Value json;
    json["id"] = record.id;
    json["name"] = TextOrNull(record.name);
    json["address"] = TextOrNull(record.address);
    json["services"] = TextOrNull(record.services);
    json["listing"] = ListingName(record.listing);
    return json;
}

Json::Value ChapterJson(const Chapter& chapter) {
    Json::Value json;
    json["chapter"] = chapter.name;
    json["sign"] = chapter.sign == Sign::FINE ? "fine" : chapter.sign == Sign::FAULT ? "fault" : "unknown";
    json["text"] = Words(chapter);
    return json;
}

/** The values as an array, each made JSON. */
template <typename Values, typename Make>
Json::Value Array(const Values& values, const Make& make) {
    Json::Value array(Json::arrayValue);
    for (const auto& value : values) {
        array.append(make(value));
    }
    return array;
}

}  // namespace

std::string StoryText(const Run& run, const Cli::Style& style) {
    const Story story = Tell(run);
    const Cli::Colour colour = story.outcome == "success"  ? Cli::Colour::GREEN
                               : story.outcome == "failed" ? Cli::Colour::RED
                                                           : Cli::Colour::YELLOW;
    std::string text = style(Cli::Colour::BOLD, "run " + std::to_string(run.number) + ": ") +
                       style(colour, story.outcome) + "\n  " +
                       Cli::Wrap(Cli::Escape(Heading(run)), 2, Cli::Style(STDOUT_FILENO).Width());
    for (const Chapter& chapter : story.chapters) {
        const std::string paragraph = Paragraph(chapter.name, Words(chapter));
        text += chapter.sign == Sign::FAULT ? style(Cli::Colour::RED, paragraph) : paragraph;
        text += chapter.name == "list" ? RecordsText(run.records) : "";
    }
    text += story.reason.empty() ? "" : style(colour, Paragraph(story.outcome, story.reason));
    for (const std::string& remedy : story.remedies) {
        text += Paragraph("what to do", remedy);
    }
    return text;
}

Json::Value StoryJson(const Run& run) {
    const Story story = Tell(run);
    Json::Value json;
    json["run"] = static_cast<Json::UInt64>(run.number);
    json["process"] = static_cast<Json::Int64>(run.pid);
    json["began"] = TextOrNull(run.began);
    json["ended"] = TextOrNull(run.ended);
    json["level"] = std::string(1, run.level);
    json["lines"] = static_cast<Json::UInt64>(run.lineCount);
    json["outcome"] = story.outcome;
    json["reason"] = TextOrNull(story.reason);
    json["what_to_do"] = Array(story.remedies, [](const std::string& remedy) { return remedy; });
    json["story"] = Array(story.chapters, &ChapterJson);
    json["mark"] = TextOrNull(run.mark);
    json["next_mark"] = TextOrNull(run.nextMark);
    json["records"] = Array(run.records, &RecordJson);
    return json;
}

}  // namespace Explain
