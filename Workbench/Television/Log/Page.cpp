#include "Television/Log/Page.h"

#include <glib.h>

#include <algorithm>
#include <cstdlib>
#include <string_view>

#include "Cli/Json.h"
#include "Cli/Text.h"
#include "PageTemplate.h"
#include "Television/Log/Run.h"

namespace Log {

namespace {

constexpr Json::ArrayIndex MOST_RUNS = 20;
constexpr const char* PARTY_NAMES[] = {"television", "service", "authorisation server", "cloud"};

/**
 * In the template {{name}} stands for a member's text, which is escaped, {{.}} for the value's own, and
 * {{#name}} ... {{/name}} for what is made of each element of the member.
 */
std::string Fill(std::string_view text, const Json::Value& values) {
    std::string page;
    for (auto at = text.find("{{"); at != std::string_view::npos; at = text.find("{{")) {
        const auto end = text.find("}}", at);
        const bool isSection = text[at + 2] == '#';
        const std::size_t begin = at + (isSection ? 3 : 2);
        const std::string name(text.substr(begin, end - begin));
        const Json::Value& value = name == "." ? values : values[name];
        page += text.substr(0, at);
        text.remove_prefix(end + 2);
        if (!isSection) {
            page += Cli::Taken(g_markup_escape_text(Cli::EscapeLines(value.asString()).c_str(), -1));
            continue;
        }
        const std::string close = "{{/" + name + "}}";
        const auto stop = text.find(close);
        for (const Json::Value& element : value) {
            page += Fill(text.substr(0, stop), element);
        }
        text.remove_prefix(stop + close.size());
    }
    return page.append(text);
}

/** Without the date and the zone, which are the same in all rows. */
std::string TimeOfDay(const std::string& time) {
    const std::string ofDay = time.substr(time.find_last_of(" T") + 1);
    return ofDay.substr(0, ofDay.find_first_of("+-Z"));
}

/** What the chapter says of the asking, or of the answer; no more than the label at the steps between. */
std::string WordsAt(Step step, const Chapter& chapter) {
    const Arrow& arrow = ArrowOf(step);
    Chapter shown = chapter;
    if (IsAnswer(step)) {
        shown.told.erase(shown.told.begin(), shown.told.lower_bound(About::WAIT));
    } else if (step != FirstOf(arrow.part)) {
        shown = Chapter();
    } else if (RequestOf(LastOf(arrow.part))) {
        shown.told.erase(shown.told.lower_bound(About::WAIT), shown.told.end());
        shown.untold.clear();
    }
    const std::string text = ChapterText(shown.ToJson());
    return arrow.label + (text.empty() ? "" : ": " + text);
}

Json::Value StepOf(const Run& run, Step step) {
    const auto found = run.lines.find(step);
    const StepLines lines = found == run.lines.end() ? StepLines() : found->second;
    const Arrow& arrow = ArrowOf(step);
    const bool isFault = run.failure && run.failure->step == step;
    // What still holds is not asked for.
    const bool holds = step != Step::END && run.In(arrow.part).Said(About::WHETHER) == HOLDS;
    const Party to = holds ? arrow.from : arrow.to;
    Json::Value json;
    json["class"] = std::string(isFault ? "fault" : "") + (lines.count == 0 ? " concluded" : "");
    json["time"] = TimeOfDay(lines.time);
    json["shape"] = to == arrow.from ? "self" : arrow.from < to ? "right" : "left";
    json["low"] = std::min(arrow.from, to);
    json["span"] = std::abs(to - arrow.from);
    json["who"] = PARTY_NAMES[arrow.from] +
                  (to == arrow.from ? "" : std::string(" \u2192 ") + PARTY_NAMES[to]) + ", " +
                  (lines.count > 0 ? Cli::Count(lines.count, "line") : "concluded: no line of it");
    json["words"] = (isFault ? "FAILED: " : "") + WordsAt(step, run.In(arrow.part));
    json["lines"] =
        lines.text + (lines.text.size() < StepLines::MOST_BYTES ? "" : "... more is left out here ...\n");
    return json;
}

}  // namespace

Json::Value PageOf(const Run& run, const Story& story) {
    Json::Value page;
    for (const char* same : {"run", "outcome", "what_to_do"}) {
        page[same] = story[same];
    }
    page["timeless"] = run.clock.began.empty() ? "timeless" : "";
    page["of"] = run.user.empty() ? "" : "of " + run.user;
    page["about"] = Joined(story["heading"], ", ");
    const std::string why = Joined(story["reason"], "; ");
    page["why"] = Cli::JsonArray(why.empty() ? Statements() : Statements{why});
    for (int i = 0; i <= static_cast<int>(Step::END); ++i) {
        const auto step = static_cast<Step>(i);
        const Part part = ArrowOf(step).part;
        // A step without a line of its own shows where it is told of, or must have been.
        const bool isTold = step == FirstOf(part) && run.In(part).shown;
        if (run.lines.count(step) > 0 || isTold) {
            page["steps"].append(StepOf(run, step));
        }
    }
    return page;
}

void Page::Add(Story& story) {
    Json::Value run;
    story.removeMember("page", &run);
    run["devices"] = Json::arrayValue;
    if (!story["records"].empty()) {
        run["devices"][0]["records"] = story["records"];
    }
    m_runs.append(run);
    if (++m_count > MOST_RUNS) {
        m_runs.removeIndex(0, nullptr);
    }
}

std::string Page::Code(const std::string& title) const {
    Json::Value values;
    values["title"] = title;
    values["count"] = Cli::Count(m_count, "run");
    values["some"] = m_count > MOST_RUNS ? "; the last " + std::to_string(MOST_RUNS) + " are here" : "";
    values["runs"] = m_runs;
    return Fill(PAGE_TEMPLATE, values);
}

}  // namespace Log
