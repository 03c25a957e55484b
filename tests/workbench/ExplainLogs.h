/** Logs of real runs, and what is told of them. */
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "Television/Explain/Explainer.h"
#include "Television/Explain/Story.h"
#include "Television/Explain/Trace.h"

namespace ExplainLogs {

inline std::string ReadFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file.is_open()) << path;
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

/** The log of a real run, as it is at a level. */
inline std::string Log(const std::string& name, char level = 'D') {
    const std::string priorities = "VDIWEF";
    std::istringstream log(ReadFile(std::filesystem::path(EXPLAIN_LOGS) / (name + ".log")));
    std::string kept;
    for (std::string line; std::getline(log, line);) {
        kept += priorities.find(line[0]) >= priorities.find(level) ? line + "\n" : "";
    }
    return kept;
}

struct Told {
    std::vector<Explain::Run> runs;
    std::string trace;
};

inline Told ExplainLog(const std::string& log) {
    Told told;
    std::ostringstream trace;
    Explain::Trace writer(trace);
    Explain::Explainer explainer([&told](const Explain::Run& run) { told.runs.push_back(run); },
                                 [&writer](const Explain::LogLine& line) { writer.Take(line); });
    explainer.Feed(log);
    explainer.Finish();
    writer.Finish();
    told.trace = trace.str();
    return told;
}

/** The stories without the lines that tell of times and processes. */
inline std::vector<std::string> Stories(const std::string& log) {
    std::vector<std::string> stories;
    for (const Explain::Run& run : ExplainLog(log).runs) {
        const Explain::Story story = Explain::Tell(run);
        std::string text = story.outcome + ": " + story.reason + "\n";
        for (const auto& chapter : story.chapters) {
            text += chapter.name + ": " + chapter.text + "; " + chapter.answer + "\n";
        }
        for (const auto& record : run.records) {
            text += record.name + " " + record.address + ": " + Explain::ListingWords(record) + "\n";
        }
        stories.push_back(text + testing::PrintToString(story.remedies));
    }
    return stories;
}

/** A log in another form: @ and a letter stand for time, ISO time, process, priority, its number, tag,
 * message. */
inline std::string InForm(const std::string& log, const std::string& form) {
    static const std::regex brief(R"((.)/(\S+) *\( *(\d+)\): (.*))");
    std::istringstream lines(log);
    std::string written;
    int milliseconds = 0;
    for (std::string line; std::getline(lines, line);) {
        std::smatch parts;
        EXPECT_TRUE(std::regex_match(line, parts, brief)) << line;
        const std::string clock = "21:46:1" + std::to_string(milliseconds / 1000) + "." +
                                  std::to_string(1000 + milliseconds % 1000).substr(1);
        const std::string number = std::to_string(std::string("0 FEW ID").find(parts[1].str()));
        const std::map<char, std::string> values = {{'t', "11-25 " + clock},
                                                    {'s', "Nov  5 " + clock.substr(0, 8)},
                                                    {'i', "2026-11-25T" + clock},
                                                    {'p', parts[3]},
                                                    {'P', parts[1]},
                                                    {'n', number},
                                                    {'T', parts[2]},
                                                    {'m', parts[4]},
                                                    {'b', line}};
        for (std::size_t at = 0; at < form.size(); ++at) {
            written += form[at] == '@' ? values.at(form[++at]) : std::string(1, form[at]);
        }
        ++milliseconds;
    }
    return written;
}

}  // namespace ExplainLogs
