#include "Television/Log/Page.h"

#include <glib.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <optional>
#include <string_view>

#include "Cli/Text.h"
#include "PageTemplate.h"

namespace Log {

namespace {

constexpr std::size_t MOST_RUNS = 20;

/** A value to fill in: text, which is escaped here alone, or code that was filled in before. */
struct Html {
    Html() = default;
    // NOLINTNEXTLINE(google-explicit-constructor): text is what most values are
    Html(const std::string& text)
        : code(Cli::Taken(g_markup_escape_text(Cli::EscapeLines(text).c_str(), -1))) {}
    Html(const char* text) : Html(std::string(text)) {}  // NOLINT(google-explicit-constructor)

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
struct Arrow {
    Step step;
    Party from;
    Party to;
    const char* label;
    /** The chapter that stands beside the arrow. */
    std::optional<Part> chapter;
};

constexpr Arrow ARROWS[] = {
    {Step::START, TELEVISION, SERVICE, "start", Part::START},
    {Step::SIGN_IN, TELEVISION, SERVICE, "sign-in", Part::SIGN_IN},
    {Step::STORED, TELEVISION, SERVICE, "what is stored", Part::STORED},
    {Step::TOKEN, SERVICE, SERVICE, "token", Part::TOKEN},
    {Step::ASK_CODE, SERVICE, TELEVISION, "authorisation code?", {}},
    {Step::CODE, TELEVISION, SERVICE, "authorisation code", {}},
    {Step::ASK_TOKEN, SERVICE, AUTHORISATION_SERVER, "token?", {}},
    {Step::TOKEN_ANSWER, AUTHORISATION_SERVER, SERVICE, "token", Part::TOKEN},
    {Step::ASK_ACTIVATION, SERVICE, CLOUD, "activation", Part::ACTIVATION},
    {Step::ACTIVATION_ANSWER, CLOUD, SERVICE, "activation", Part::ACTIVATION},
    {Step::ASK_APP, SERVICE, CLOUD, "app token", Part::APP},
    {Step::APP_ANSWER, CLOUD, SERVICE, "app token", Part::APP},
    {Step::ASK_DOWNLOAD, SERVICE, CLOUD, "download", Part::DOWNLOAD},
    {Step::DOWNLOAD_ANSWER, CLOUD, SERVICE, "records", Part::DOWNLOAD},
    {Step::LIST, SERVICE, TELEVISION, "device list", Part::LIST},
    {Step::END, SERVICE, SERVICE, "end", {}},
};

/** Without the date and the zone, which are the same in all rows. */
std::string TimeOfDay(const std::string& time) {
    const std::string ofDay = time.substr(time.find_last_of(" T") + 1);
    return ofDay.substr(0, ofDay.find_first_of("+-Z"));
}

/** What the chapter says of the asking, or of the answer. */
std::string ArrowText(const Arrow& arrow, const Chapter& chapter) {
    const bool isRequest = RequestOf(arrow.step).has_value() || arrow.step == Step::TOKEN;
    Chapter shown = chapter;
    if (IsAnswer(arrow.step)) {
        shown.told.erase(shown.told.begin(), shown.told.lower_bound(About::WAIT));
    } else if (isRequest) {
        shown.told.erase(shown.told.lower_bound(About::WAIT), shown.told.end());
        shown.untold.clear();
    }
    return Cli::Join({arrow.label, shown.Text()}, shown.told.empty() && shown.untold.empty() ? "" : ": ");
}

Html StepHtml(const Story& story, const Arrow& arrow, const Chapter* chapter) {
    const auto found = story.lines.find(arrow.step);
    const StepLines lines = found == story.lines.end() ? StepLines() : found->second;
    const bool isFault = story.failure && story.failure->step == arrow.step;
    // What still holds is not asked for.
    const bool holds = chapter != nullptr && chapter->Text(About::WHETHER, About::WHETHER) == HOLDS;
    const Party to = holds ? arrow.from : arrow.to;
    const std::string who = PARTY_NAMES[arrow.from] +
                            (to == arrow.from ? "" : std::string(" \u2192 ") + PARTY_NAMES[to]) + ", " +
                            (lines.count > 0 ? Cli::Count(lines.count, "line") : "concluded: no line of it");
    const std::string leftOut =
        lines.leftOut == 0 ? "" : "... " + Cli::Count(lines.leftOut, "line") + " left out here ...\n";
    return Fill("step",
                {{"class", std::string(isFault ? "fault" : "") + (lines.count == 0 ? " concluded" : "")},
                 {"time", TimeOfDay(lines.time)},
                 {"shape", to == arrow.from  ? "self"
                           : arrow.from < to ? "right"
                                             : "left"},
                 {"low", std::to_string(std::min(arrow.from, to))},
                 {"span", std::to_string(std::abs(to - arrow.from))},
                 {"who", who},
                 {"words", (isFault ? "FAILED: " : "") +
                               (chapter == nullptr ? arrow.label : ArrowText(arrow, *chapter))},
                 {"lines", lines.text + leftOut}});
}

Html StepsHtml(const Story& story) {
    Html html;
    for (const Arrow& arrow : ARROWS) {
        const Chapter* chapter = nullptr;
        for (const Chapter& told : story.chapters) {
            chapter = arrow.chapter == told.part ? &told : chapter;
        }
        // A step without a line of its own shows where it is told of, or must have been.
        if (story.lines.count(arrow.step) > 0 || (chapter != nullptr && !IsAnswer(arrow.step))) {
            html.code += StepHtml(story, arrow, chapter).code;
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

Html RunHtml(const Story& story) {
    Html notes;
    if (!story.reason.empty()) {
        notes.code += Fill("note", {{"name", "Why:"}, {"text", Cli::Join(story.reason, "; ")}}).code;
    }
    for (const std::string& remedy : story.remedies) {
        notes.code += Fill("note", {{"name", "What to do:"}, {"text", remedy}}).code;
    }
    return Fill("run", {{"number", std::to_string(story.number)},
                        {"timeless", story.began.empty() ? "timeless" : ""},
                        {"of", story.user.empty() ? "" : "of " + story.user},
                        {"outcome", story.outcome},
                        {"heading", Cli::Join(story.heading, ", ")},
                        {"notes", notes},
                        {"devices", DevicesHtml(story.records)},
                        {"steps", StepsHtml(story)}});
}

}  // namespace

void Page::Add(const Story& story) {
    ++m_count;
    m_stories.push_back(story);
    if (m_stories.size() > MOST_RUNS) {
        m_stories.pop_front();
    }
}

std::string Page::Code() const {
    Html links;
    Html sections;
    for (const Story& story : m_stories) {
        links.code +=
            Fill("link", {{"number", std::to_string(story.number)}, {"outcome", story.outcome}}).code;
        sections.code += RunHtml(story).code;
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
