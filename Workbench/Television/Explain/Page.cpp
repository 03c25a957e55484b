#include "Television/Explain/Page.h"

#include <algorithm>
#include <cstdlib>

#include "Cli/Text.h"
#include "Television/Explain/PageStyle.h"
#include "Television/Explain/Story.h"

namespace Explain {

namespace {

constexpr std::size_t MOST_RUNS = 20;

/** Text that is HTML already, told apart from what is still to be escaped. */
struct Html {
    std::string code;

    Html& operator+=(const Html& more) {
        code += more.code;
        return *this;
    }
    friend Html operator+(Html first, const Html& second) {
        return first += second;
    }
};

/** The one place where text becomes HTML. Any bytes: what does not show, or is no UTF-8, is shown escaped. */
Html Text(const std::string& text) {
    Html html;
    for (const char c : Cli::Escape(text)) {
        html.code += c == '&'   ? "&amp;"
                     : c == '<' ? "&lt;"
                     : c == '>' ? "&gt;"
                     : c == '"' ? "&quot;"
                                : std::string(1, c);
    }
    return html;
}

/** An element. opening: its name and attributes, all of our own making. */
Html Element(const std::string& opening, const Html& content = {}) {
    return {"<" + opening + ">" + content.code + "</" + opening.substr(0, opening.find(' ')) + ">"};
}

enum Party : int { TELEVISION, SERVICE, AUTHORISATION_SERVER, CLOUD };
constexpr const char* PARTY_NAMES[] = {"television", "service", "authorisation server", "cloud"};

/** What each step is in the picture. */
struct Part {
    Step step;
    Party from;
    Party to;
    std::string label;
    /** The chapter whose text, or answer, stands beside the arrow; empty for none. */
    std::string chapter;
    bool isAnswer;
    /** The request that it belongs to; null for the others. */
    const Exchange* exchange;
};

std::vector<Part> Parts(const Run& run) {
    const Exchange* token = &run.tokenRequest;
    const Exchange* code = run.token == Run::Token::NEW ? token : nullptr;
    return {
        {Step::START, TELEVISION, SERVICE, "start", "start", false, nullptr},
        {Step::SIGN_IN, TELEVISION, SERVICE, "sign-in", "sign-in", false, nullptr},
        {Step::STORED, TELEVISION, SERVICE, "what is stored", "stored", false, nullptr},
        {Step::TOKEN, SERVICE, SERVICE, "access token", "token", false, nullptr},
        {Step::ASK_CODE, SERVICE, TELEVISION, "authorisation code?", "", false, code},
        {Step::CODE, TELEVISION, SERVICE, "authorisation code", "", false, code},
        {Step::ASK_TOKEN, SERVICE, AUTHORISATION_SERVER, "access token?", "", false, token},
        {Step::TOKEN_ANSWER, AUTHORISATION_SERVER, SERVICE, "access token", "token", true, token},
        {Step::ASK_ACTIVATION, SERVICE, CLOUD, "activation", "activation", false, &run.activation},
        {Step::ACTIVATION_ANSWER, CLOUD, SERVICE, "activation", "activation", true, &run.activation},
        {Step::ASK_APP_TOKEN, SERVICE, CLOUD, "application token", "app token", false, &run.appToken},
        {Step::APP_TOKEN_ANSWER, CLOUD, SERVICE, "application token", "app token", true, &run.appToken},
        {Step::ASK_RECORDS, SERVICE, CLOUD, "download", "download", false, nullptr},
        {Step::RECORDS_ANSWER, CLOUD, SERVICE, "records", "download", true, &run.download},
        {Step::LIST, SERVICE, TELEVISION, "device list", "list", false, nullptr},
        {Step::END, SERVICE, SERVICE, "end", "", false, nullptr},
    };
}

bool IsFault(const Run& run, Step step) {
    return (run.failure && run.failedStep == step) ||
           (step == Step::TOKEN_ANSWER && !run.tokenRequest.code.empty()) ||
           (step == Step::CODE && step == run.reached && !run.faults.empty());
}

/** Without the date and the zone, which are the same in all rows. */
std::string TimeOfDay(const std::string& time) {
    const std::string ofDay = time.substr(time.find_last_of(" T") + 1);
    return ofDay.substr(0, ofDay.find_first_of("+-Z"));
}

/** The picture's part of a row: an arrow, or a ring where the service is by itself. */
Html ArrowHtml(Party from, Party to) {
    const std::string shape = from == to ? "self" : from < to ? "right" : "left";
    const std::string place =
        "--low:" + std::to_string(std::min(from, to)) + ";--span:" + std::to_string(std::abs(to - from));
    return Element(R"(span class="lanes" aria-hidden="true")",
                   Element("span class=\"arrow " + shape + "\" style=\"" + place + "\""));
}

Html RecordsHtml(const std::vector<Record>& records) {
    Html rows = Element("tr", Element("th", Text("name")) + Element("th", Text("address")) +
                                  Element("th", Text("record")) + Element("th", Text("what became of it")));
    for (const Record& record : records) {
        rows += Element("tr", Element("td", Text(record.name)) + Element("td", Text(record.address)) +
                                  Element("td", Text(record.id)) + Element("td", Text(ListingWords(record))));
    }
    return records.empty() ? Html() : Element("table", rows);
}

Html LinesHtml(const StepLines& lines) {
    Html html;
    const auto add = [&html](const std::string& line) { html += Text(line) + Html{"\n"}; };
    std::for_each(lines.first.begin(), lines.first.end(), add);
    const std::size_t leftOut = lines.count - lines.first.size() - lines.last.size();
    if (leftOut > 0) {
        add("... " + Cli::Count(leftOut, "line") + " left out here ...");
    }
    std::for_each(lines.last.begin(), lines.last.end(), add);
    return Element("pre", html);
}

Html PartHtml(const Run& run, const Part& part, const Chapter* chapter) {
    const auto found = run.steps.find(part.step);
    const StepLines& lines = found == run.steps.end() ? StepLines() : found->second;
    // What still holds is not asked for.
    const bool isOwn =
        chapter != nullptr && !part.isAnswer && part.exchange != nullptr && !part.exchange->asked;
    const Party to = isOwn ? part.from : part.to;
    const std::string who =
        PARTY_NAMES[part.from] + (to == part.from ? "" : std::string(" \u2192 ") + PARTY_NAMES[to]);
    const std::string more = chapter == nullptr ? "" : part.isAnswer ? chapter->answer : chapter->text;
    const bool isFault = IsFault(run, part.step);
    const Html words =
        Element("span class=\"who\"",
                Text(who + ", " +
                     (lines.count > 0 ? Cli::Count(lines.count, "line") : "concluded: no line of it"))) +
        Text((isFault ? "FAILED: " : "") + part.label + (more.empty() ? "" : ": " + more));
    const Html summary = Element("summary class=\"row\"",
                                 Element("span class=\"time\"", Text(TimeOfDay(lines.time))) +
                                     ArrowHtml(part.from, to) + Element("span class=\"words\"", words));
    const Html inside =
        Element("div class=\"inside\"",
                (part.step == Step::LIST ? RecordsHtml(run.records) : Html()) + LinesHtml(lines));
    return Element(std::string("details class=\"") + (isFault ? "fault" : "") +
                       (lines.count == 0 ? " concluded" : "") + "\"",
                   summary + inside);
}

Html SequenceHtml(const Run& run, const Story& story) {
    Html names;
    for (const char* name : PARTY_NAMES) {
        names += Element("span", Text(name));
    }
    Html html = Element("div class=\"row heads\"", Element("span") + Element("span", Text("time")) +
                                                       Element("span class=\"names\"", names));
    for (const Part& part : Parts(run)) {
        const auto chapter = std::find_if(story.chapters.begin(), story.chapters.end(),
                                          [&part](const Chapter& told) { return told.name == part.chapter; });
        const bool hasChapter = chapter != story.chapters.end();
        const bool isImplied = part.exchange != nullptr && part.exchange->asked && part.step < run.reached;
        // A step without a line of its own shows where it is told of, or must have been.
        if (run.steps.count(part.step) > 0 || (hasChapter && !part.isAnswer) || isImplied) {
            html += PartHtml(run, part, hasChapter ? &*chapter : nullptr);
        }
    }
    return html;
}

Html RunHtml(const Run& run, const Story& story) {
    Html html =
        Element("h2", Text("Run " + std::to_string(run.number) + " ") +
                          Element("span class=\"outcome " + story.outcome + "\"", Text(story.outcome))) +
        Element("p", Text(Heading(run)));
    if (!story.reason.empty()) {
        html += Element("p", Element("strong", Text("Why: ")) + Text(story.reason));
    }
    for (const std::string& remedy : story.remedies) {
        html += Element("p", Element("strong", Text("What to do: ")) + Text(remedy));
    }
    return Element("section id=\"run-" + std::to_string(run.number) + "\"", html + SequenceHtml(run, story));
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
        const Story story = Tell(run);
        const std::string number = std::to_string(run.number);
        const Html link = Element("a href=\"#run-" + number + "\"", Text("Run " + number));
        links += Element("li", link + Text(": " + story.outcome));
        sections += RunHtml(run, story);
    }
    const std::string some =
        m_count > MOST_RUNS ? "; the last " + std::to_string(MOST_RUNS) + " are here" : "";
    const std::string about = Cli::Count(m_count, "run") + " in the log" + some +
                              ". Each step opens its lines; tokens and codes in them are masked.";
    const Html head =
        Html{PAGE_META} + Element("title", Text("bt-infosync: " + m_title)) + Element("style", {PAGE_STYLE});
    const Html body = Element("h1", Text("Runs of bt-infosync in " + m_title)) + Element("p", Text(about)) +
                      Element("nav", Element("ul", links)) + sections;
    return "<!DOCTYPE html>\n" +
           Element("html lang=\"en\"", Element("head", head) + Element("body", body)).code + "\n";
}

}  // namespace Explain
