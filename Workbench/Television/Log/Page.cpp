#include "Television/Log/Page.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <string_view>

#include "Cli/Text.h"
#include "PageTemplate.h"

namespace Log {

namespace {

constexpr std::size_t MOST_RUNS = 20;

/** A value to fill in: text, which is escaped here alone, or code that was filled in before. */
struct Html {
    Html(const std::string& text) {  // NOLINT(google-explicit-constructor): text is what most values are
        for (const char c : Cli::EscapeLines(text)) {
            code += c == '&'   ? "&amp;"
                    : c == '<' ? "&lt;"
                    : c == '>' ? "&gt;"
                    : c == '"' ? "&quot;"
                               : std::string(1, c);
        }
    }
    Html(const char* text) : Html(std::string(text)) {}  // NOLINT(google-explicit-constructor)
    Html() = default;

    std::string code;
};

using Values = std::map<std::string, Html>;

std::string_view Block(const std::string& name) {
    constexpr std::string_view page = PAGE_TEMPLATE;
    const std::string head = "<!-- block: " + name + " -->\n";
    const std::size_t begin = page.find(head) + head.size();
    return page.substr(begin, page.find("<!-- block: ", begin) - begin);
}

/** The block of the template with each {{name}} replaced. */
Html Fill(const std::string& block, const Values& values) {
    Html html;
    std::string_view rest = Block(block);
    for (std::size_t at = rest.find("{{"); at != std::string_view::npos; at = rest.find("{{")) {
        const std::size_t end = rest.find("}}", at);
        html.code.append(rest.substr(0, at))
            .append(values.at(std::string(rest.substr(at + 2, end - at - 2))).code);
        rest.remove_prefix(end + 2);
    }
    html.code += rest;
    return html;
}

enum Party : int { TELEVISION, SERVICE, AUTHORISATION_SERVER, CLOUD };
constexpr const char* PARTY_NAMES[] = {"television", "service", "authorisation server", "cloud"};

/** What a step is in the picture. */
struct Part {
    Step step;
    Party from;
    Party to;
    const char* label;
    /** The chapter that stands beside the arrow; empty for none. */
    const char* chapter;
};

constexpr Part PARTS[] = {
    {Step::START, TELEVISION, SERVICE, "start", "start"},
    {Step::SIGN_IN, TELEVISION, SERVICE, "sign-in", "sign-in"},
    {Step::STORED, TELEVISION, SERVICE, "what is stored", "stored"},
    {Step::TOKEN, SERVICE, SERVICE, "token", "token"},
    {Step::ASK_CODE, SERVICE, TELEVISION, "authorisation code?", ""},
    {Step::CODE, TELEVISION, SERVICE, "authorisation code", ""},
    {Step::ASK_TOKEN, SERVICE, AUTHORISATION_SERVER, "token?", ""},
    {Step::TOKEN_ANSWER, AUTHORISATION_SERVER, SERVICE, "token", "token"},
    {Step::ASK_ACTIVATION, SERVICE, CLOUD, "activation", "activation"},
    {Step::ACTIVATION_ANSWER, CLOUD, SERVICE, "activation", "activation"},
    {Step::ASK_APP, SERVICE, CLOUD, "app token", "app"},
    {Step::APP_ANSWER, CLOUD, SERVICE, "app token", "app"},
    {Step::ASK_DOWNLOAD, SERVICE, CLOUD, "download", "download"},
    {Step::DOWNLOAD_ANSWER, CLOUD, SERVICE, "records", "download"},
    {Step::LIST, SERVICE, TELEVISION, "device list", "list"},
    {Step::END, SERVICE, SERVICE, "end", ""},
};

bool IsAnswer(Step step) {
    const auto request = RequestOf(step);
    return request && request != RequestOf(Next(step));
}

/** Without the date and the zone, which are the same in all rows. */
std::string TimeOfDay(const std::string& time) {
    const std::string ofDay = time.substr(time.find_last_of(" T") + 1);
    return ofDay.substr(0, ofDay.find_first_of("+-Z"));
}

/** What the chapter says of the asking, or of the answer. */
std::string Words(const Part& part, const Chapter& chapter) {
    const bool isRequest = RequestOf(part.step).has_value() || part.step == Step::TOKEN;
    Chapter shown = chapter;
    if (IsAnswer(part.step)) {
        shown.told.erase(shown.told.begin(),
                         shown.told.begin() + static_cast<std::ptrdiff_t>(chapter.asking));
    } else if (isRequest) {
        shown.told.resize(chapter.asking);
        shown.untold.clear();
    }
    const std::string words = shown.Words();
    return part.label + (words.empty() ? "" : ": " + words);
}

Html StepHtml(const Run& run, const Part& part, const Chapter* chapter) {
    const auto found = run.lines.find(part.step);
    const StepLines lines = found == run.lines.end() ? StepLines() : found->second;
    const bool isFault = run.failure && run.failure->step == part.step;
    // What still holds is not asked for.
    const auto request = RequestOf(part.step);
    const Party to = request && run.Of(*request).asked == false ? part.from : part.to;
    const std::string who = PARTY_NAMES[part.from] +
                            (to == part.from ? "" : std::string(" \u2192 ") + PARTY_NAMES[to]) + ", " +
                            (lines.count > 0 ? Cli::Count(lines.count, "line") : "concluded: no line of it");
    const std::string leftOut =
        lines.leftOut == 0 ? "" : "... " + Cli::Count(lines.leftOut, "line") + " left out here ...\n";
    return Fill(
        "step",
        {{"class", std::string(isFault ? "fault" : "") + (lines.count == 0 ? " concluded" : "")},
         {"time", TimeOfDay(lines.time)},
         {"shape", to == part.from  ? "self"
                   : part.from < to ? "right"
                                    : "left"},
         {"low", std::to_string(std::min(part.from, to))},
         {"span", std::to_string(std::abs(to - part.from))},
         {"who", who},
         {"words", (isFault ? "FAILED: " : "") + (chapter == nullptr ? part.label : Words(part, *chapter))},
         {"lines", lines.text + leftOut}});
}

Html StepsHtml(const Run& run, const Story& story) {
    Html html;
    for (const Part& part : PARTS) {
        const auto chapter = std::find_if(story.chapters.begin(), story.chapters.end(),
                                          [&part](const Chapter& told) { return told.name == part.chapter; });
        const bool hasChapter = chapter != story.chapters.end();
        const auto request = RequestOf(part.step);
        const bool isImplied = request && run.Of(*request).sent && part.step < run.reached;
        // A step without a line of its own shows where it is told of, or must have been.
        if (run.lines.count(part.step) > 0 || (hasChapter && !IsAnswer(part.step)) || isImplied) {
            html.code += StepHtml(run, part, hasChapter ? &*chapter : nullptr).code;
        }
    }
    return html;
}

Html DevicesHtml(const std::vector<Record>& records) {
    Html rows;
    for (const Record& record : records) {
        rows.code += Fill("device", {{"name", record.name},
                                     {"words", ListingWords(record)},
                                     {"address", record.address},
                                     {"id", record.id}})
                         .code;
    }
    return records.empty() ? Html() : Fill("devices", {{"rows", rows}});
}

Html RunHtml(const Run& run, const Story& story) {
    Html notes;
    if (!story.reason.empty()) {
        notes.code += Fill("note", {{"name", "Why:"}, {"text", Cli::Join(story.reason, "; ")}}).code;
    }
    for (const std::string& remedy : story.remedies) {
        notes.code += Fill("note", {{"name", "What to do:"}, {"text", remedy}}).code;
    }
    return Fill("run", {{"number", std::to_string(run.number)},
                        {"timeless", run.began.empty() ? "timeless" : ""},
                        {"of", story.user.empty() ? "" : "of " + story.user},
                        {"outcome", story.outcome},
                        {"heading", Cli::Join(story.heading, ", ")},
                        {"notes", notes},
                        {"devices", DevicesHtml(story.records)},
                        {"steps", StepsHtml(run, story)}});
}

}  // namespace

void Page::Add(const Run& run) {
    ++m_count;
    m_runs.push_back(run);
    if (m_runs.size() > MOST_RUNS) {
        m_runs.pop_front();
    }
}

std::string Page::Code() const {
    Html links;
    Html sections;
    for (const Run& run : m_runs) {
        Story story = Tell(run);
        Narrow(story, m_device);
        links.code += Fill("link", {{"number", std::to_string(run.number)}, {"outcome", story.outcome}}).code;
        sections.code += RunHtml(run, story).code;
    }
    const std::string some =
        m_count > MOST_RUNS ? "; the last " + std::to_string(MOST_RUNS) + " are here" : "";
    return Fill("page", {{"title", m_title},
                         {"about", Cli::Count(m_count, "run") + " in the log" + some},
                         {"links", links},
                         {"runs", sections}})
        .code;
}

}  // namespace Log
