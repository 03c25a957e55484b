#include "Television/Log/Story.h"

#include <algorithm>
#include <limits>

#include "Cli/Json.h"
#include "Cli/Text.h"
#include "Television/Log/Table.h"

namespace Log {

namespace {

constexpr std::size_t NAME_WIDTH = 14;
constexpr std::size_t MOST_RECORDS_SHOWN = 20;
constexpr double MILLISECONDS = 1000;

constexpr PartSteps PARTS[] = {
    {"start", Step::START, Step::START, Step::START},
    {"sign-in", Step::SIGN_IN, Step::SIGN_IN, Step::SIGN_IN},
    {"stored", Step::STORED, Step::STORED, Step::STORED},
    {"token", Step::TOKEN, Step::ASK_TOKEN, Step::TOKEN_ANSWER},
    {"activation", Step::ASK_ACTIVATION, Step::ASK_ACTIVATION, Step::ACTIVATION_ANSWER},
    {"app", Step::ASK_APP, Step::ASK_APP, Step::APP_ANSWER},
    {"download", Step::ASK_DOWNLOAD, Step::ASK_DOWNLOAD, Step::DOWNLOAD_ANSWER},
    {"list", Step::LIST, Step::LIST, Step::END}};

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

Json::Value OrNull(const std::optional<std::int64_t>& number) {
    return number ? Json::Value(Json::Int64{*number}) : Json::Value();
}

Json::Value RecordJson(const Record& record) {
    Json::Value json;
    json["id"] = record.id;
    json["name"] = Cli::TextOrNull(record.name);
    json["address"] = Cli::TextOrNull(record.address);
    json["services"] = Cli::TextOrNull(record.services);
    json["listing"] = ListingName(record.listing);
    json["words"] = ListingWords(record);
    return json;
}

Json::Value ChapterJson(const Chapter& chapter) {
    Json::Value json;
    json["chapter"] = StepsOf(chapter.part).name;
    json["sign"] = chapter.sign == Sign::FINE ? "fine" : chapter.sign == Sign::FAULT ? "fault" : "unknown";
    json["told"] = Cli::JsonArray(chapter.told, [](const auto& told) { return Json::Value(told.second); });
    json["not_told"] = Cli::JsonArray(chapter.untold);
    if (!chapter.request.empty()) {
        json["request"] = chapter.request;
        json["answered"] = chapter.answered;
        json["status"] = OrNull(chapter.status);
        json["seconds"] = chapter.milliseconds
                              ? Json::Value(static_cast<double>(*chapter.milliseconds) / MILLISECONDS)
                              : Json::Value();
    }
    return json;
}

}  // namespace

const PartSteps& StepsOf(Part part) {
    return PARTS[static_cast<std::size_t>(part)];
}

std::optional<Part> RequestOf(Step step) {
    for (const Part part : REQUESTS) {
        if (step == StepsOf(part).asking || step == StepsOf(part).last) {
            return part;
        }
    }
    return std::nullopt;
}

bool IsAnswer(Step step) {
    const auto part = RequestOf(step);
    return part && step == StepsOf(*part).last;
}

std::string Fault::Meaning() const {
    if (known == nullptr && text.empty()) {
        return "";
    }
    const std::string meaning(known == nullptr ? "an error that is not known here" : known->meaning);
    return text.empty() ? meaning : meaning + " (" + text + ")";
}

void Add(Words& words, const std::string& more) {
    if (!more.empty() && std::find(words.begin(), words.end(), more) == words.end()) {
        words.push_back(more);
    }
}

std::string Chapter::Text(About first, About last) const {
    Words words;
    for (auto at = told.lower_bound(first); at != told.upper_bound(last); ++at) {
        words.push_back(at->second);
    }
    return Cli::Join(words, ", ");
}

std::string Chapter::Text() const {
    std::string text = Text(About::WHETHER, About::ALSO);
    for (const std::string& what : untold) {
        text += (text.empty() ? "not told: " : "; not told: ") + what;
    }
    return text;
}

void StepLines::Add(const std::string& line) {
    constexpr std::size_t MOST_BYTES = 65536;
    ++count;
    if (text.size() < MOST_BYTES) {
        text += line + "\n";
    } else {
        ++leftOut;
    }
}

void Narrow(Story& story, const std::string& device) {
    const std::string wanted = Cli::CaseFolded(device);
    const auto isOther = [&wanted](const Record& record) {
        const std::string all = Cli::CaseFolded(record.name + "\n" + record.address + "\n" + record.id);
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
        const std::string paragraph = Paragraph(StepsOf(chapter.part).name, chapter.Text(), style);
        text += chapter.sign == Sign::FAULT ? style(Cli::Colour::RED, paragraph) : paragraph;
        text += chapter.part == Part::LIST ? RecordsText(story.records, style) : "";
    }
    if (!story.reason.empty()) {
        text += style(colour, Paragraph(story.outcome, Cli::Join(story.reason, "; "), style));
    }
    for (const std::string& remedy : story.remedies) {
        text += Paragraph("what to do", remedy, style);
    }
    return text;
}

Json::Value StoryJson(const Story& story) {
    Json::Value json;
    json["run"] = Json::UInt64{story.number};
    json["user"] = Cli::TextOrNull(story.user);
    json["outcome"] = story.outcome;
    json["reason"] = Cli::JsonArray(story.reason);
    json["what_to_do"] = Cli::JsonArray(story.remedies);
    json["heading"] = Cli::JsonArray(story.heading);
    json["story"] = Cli::JsonArray(story.chapters, &ChapterJson);
    json["mark"] = OrNull(story.mark);
    json["next_mark"] = OrNull(story.nextMark);
    json["records"] = Cli::JsonArray(story.records, &RecordJson);
    return json;
}

std::string OutcomeWords(const Json::Value& story) {
    Words reason;
    for (const Json::Value& words : story["reason"]) {
        Add(reason, words.isString() ? words.asString() : "");
    }
    return Cli::TextMember(story, "outcome") + (reason.empty() ? "" : ": ") + Cli::Join(reason, "; ");
}

}  // namespace Log
