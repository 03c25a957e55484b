/** What is told of a run, held against the service itself: the transcripts are its real lines. Whatever is
 * told of a log that is cut, or has a higher level, is told of the whole one as well. */
#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "Cli/Json.h"
#include "Cli/Masker.h"
#include "Cli/Text.h"
#include "Expected.h"
#include "Files.h"
#include "Rows.h"
#include "Television/Log/Message.h"
#include "Television/Log/Runs.h"
#include "Television/Log/Story.h"
#include "Television/Log/Table.h"

namespace {

namespace fs = std::filesystem;
using Log::Story;

struct Entry {
    char priority;
    std::string message;
    std::string text;
};

/** The log lines of a transcript, as the log viewer shows them. */
std::vector<Entry> Entries(const fs::path& transcript) {
    static const std::regex entry(R"(([DIWE]) ([^:]+: .*?): ?([^]*))");
    std::istringstream lines(Files::Read(transcript));
    std::vector<Entry> entries;
    bool isEntry = false;
    for (std::string line; std::getline(lines, line);) {
        std::smatch parts;
        if (isEntry && line.compare(0, 4, "    ") == 0) {
            entries.push_back({entries.back().priority, "", line.substr(4)});
            entries.back().text.insert(0, std::string(1, entries.back().priority) + "/BT_INFOSYNC( 700): ");
            continue;
        }
        isEntry = std::regex_match(line, parts, entry);
        if (isEntry) {
            const std::string head = parts[1].str() + "/BT_INFOSYNC( 700): " + parts[2].str();
            // One line of a source logs with one priority.
            const std::string number = "(" + std::to_string(parts[1].str()[0]);
            entries.push_back({parts[1].str()[0], parts[3], Cli::Join({head, number, ") > ", parts[3]}, "")});
        }
    }
    return entries;
}

std::vector<Story> Told(const std::string& log) {
    std::vector<Story> stories;
    Log::Runs runs(false, [&stories](Log::Story& story) { stories.push_back(story); });
    runs.Feed(log);
    runs.Finish();
    return stories;
}

/** "at least 3 records" and "3 records" may become more in the whole log, and one of "an answer, or what is
 * stored," the one that it was. */
bool IsNoMoreThan(const std::string& told, const std::string& whole) {
    static const std::regex counted(R"((?:at least )?(\d+) (.*))");
    static const std::regex either("an answer, or [^,]*,(.*)");
    std::smatch both;
    if (std::regex_match(told, both, either)) {
        return whole.find(both[1].str()) != std::string::npos;
    }
    std::smatch few;
    std::smatch many;
    return told == whole || (std::regex_match(told, few, counted) && std::regex_match(whole, many, counted) &&
                             std::stoul(few[1]) <= std::stoul(many[1]) &&
                             few[2].str().substr(0, 5) == many[2].str().substr(0, 5));
}

bool Has(const Json::Value& whole, const std::string& told) {
    return std::any_of(whole.begin(), whole.end(),
                       [&told](const Json::Value& words) { return IsNoMoreThan(told, words.asString()); });
}

/** The element whose member says the same; null for none. */
Json::Value Same(const Json::Value& whole, const char* name, const Json::Value& told) {
    const auto same = std::find_if(whole.begin(), whole.end(),
                                   [&](const Json::Value& other) { return other[name] == told[name]; });
    return same == whole.end() ? Json::Value() : *same;
}

/** What the whole log denies, or does not tell, of what is told; empty for nothing. */
std::string Denied(const Story& told, const Story& whole) {
    std::string denied;
    const auto expect = [&denied](bool holds, const std::string& what) {
        denied += holds ? "" : what + "\n";
    };
    const auto expectSame = [&expect](const Json::Value& cut, const Json::Value& all,
                                      std::initializer_list<const char*> members) {
        for (const char* name : members) {
            expect(cut[name].isNull() || cut[name] == all[name], name + (": " + cut[name].asString()));
        }
    };
    expect(told["outcome"] == "not told" || told["outcome"] == whole["outcome"], told["outcome"].asString());
    expectSame(told, whole, {"user", "mark", "next_mark"});
    for (const auto& reason : told["outcome"] == "failed" ? told["reason"] : Json::Value()) {
        const std::string words = reason.asString();
        expect(Has(whole["reason"], words) || words.find("level W") != std::string::npos, "reason: " + words);
    }
    for (const auto& chapter : told["story"]) {
        const Json::Value same = Same(whole["story"], "chapter", chapter);
        const std::string name = chapter["chapter"].asString() + ": ";
        expect(chapter["sign"] == "unknown" || chapter["sign"] == same["sign"], name + "its sign");
        for (const auto& words : chapter["told"]) {
            expect(Has(same["told"], words.asString()), name + words.asString());
        }
        const std::string request = chapter["request"].asString();
        expect(request.empty() || (!same["request"].isNull() &&
                                   request.find(same["request"].asString()) != std::string::npos),
               name + "its request");
        expect(!chapter["answered"].asBool() || same["answered"].asBool(), name + "its answer");
        expectSame(chapter, same, {"status"});
    }
    for (const auto& record : told["records"]) {
        const Json::Value same = Same(whole["records"], "id", record);
        expect(record["listing"] == "not told" || record["listing"] == same["listing"],
               "record " + record["id"].asString() + ": " + record["words"].asString());
        expectSame(record, same, {"id", "name", "address"});
    }
    return denied;
}

std::string Joined(const std::vector<Entry>& entries, std::size_t begin, std::size_t end) {
    std::string log;
    for (std::size_t i = begin; i < end; ++i) {
        log += entries[i].text + "\n";
    }
    return log;
}

/** The text as a mail program breaks it. */
std::string Wrapped(const std::string& text, const std::string& quote) {
    constexpr std::size_t WIDTH = 76;
    std::string wrapped = quote;
    std::size_t column = 0;
    std::istringstream words(text);
    for (std::string word; std::getline(words, word, ' ');) {
        const bool isNext = column > 0 && column + 1 + word.size() > WIDTH;
        wrapped.append(isNext ? "\n" + quote : column > 0 ? " " : "").append(word);
        column = isNext ? word.size() : column + 1 + word.size();
    }
    return wrapped + "\n";
}

class TranscriptStory : public testing::TestWithParam<std::string> {
protected:
    std::vector<Entry> m_entries = Entries(fs::path(TRANSCRIPTS) / GetParam());
};

std::vector<std::string> Transcripts() {
    std::vector<std::string> names;
    for (const auto& file : fs::directory_iterator(TRANSCRIPTS)) {
        names.push_back(file.path().filename());
    }
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace

TEST_P(TranscriptStory, TellsNothingOfACutLogThatTheWholeOneDenies) {
    const auto whole = Told(Joined(m_entries, 0, m_entries.size()));
    ASSERT_EQ(whole.size(), 1U);
    std::size_t told = 0;
    const auto check = [&](const std::vector<Entry>& entries, std::size_t begin, std::size_t end) {
        for (const Story& story : Told(Joined(entries, begin, end))) {
            ++told;
            ASSERT_EQ(Denied(story, whole[0]), "")
                << GetParam() << ", lines " << begin << " to " << end << "\n"
                << Log::StoryText(story, Cli::Style(false, 110)) << "\nwhole:\n"
                << Log::StoryText(whole[0], Cli::Style(false, 110));
            ASSERT_TRUE(story["outcome"] != "success" ||
                        (begin < end && entries[end - 1].message == "<<Not Error>>End main loop"));
        }
    };
    for (const char level : std::string("DIWE")) {
        std::vector<Entry> entries;
        std::copy_if(m_entries.begin(), m_entries.end(), std::back_inserter(entries),
                     [level](const Entry& entry) { return !Log::IsBelow(entry.priority, level); });
        for (std::size_t cut = 0; cut <= entries.size() && !HasFatalFailure(); ++cut) {
            check(entries, cut, entries.size());
            check(entries, 0, cut);
            check(entries, cut, std::min(cut + 12, entries.size()));
        }
    }
    EXPECT_GT(told, m_entries.size());
}

TEST_P(TranscriptStory, IsTheSameOfALogThatAMailBroke) {
    for (const char level : std::string("DIWE")) {
        for (const std::string quote : {"", "> "}) {
            std::string log;
            std::string mail;
            for (const Entry& entry : m_entries) {
                log += Log::IsBelow(entry.priority, level) ? "" : entry.text + "\n";
                mail += Log::IsBelow(entry.priority, level) ? "" : Wrapped(entry.text, quote);
            }
            Story whole = Told(log).at(0);
            Story story = Told(mail).at(0);
            story["heading"] = whole["heading"];  // it counts lines
            EXPECT_EQ(Cli::JsonText(story), Cli::JsonText(whole)) << quote << level;
        }
    }
}

/** In the file each story stands after the log's name and level. */
TEST(Story, IsToldAsItWas) {
    std::string stories;
    const auto tell = [&stories](const std::string& name, const std::string& log) {
        for (const Story& story : Told(log)) {
            stories += name + ", " + Log::StoryText(story, Cli::Style(false, 110)) + "\n";
        }
    };
    std::map<std::string, std::vector<Entry>> all;
    for (const std::string& name : Transcripts()) {
        const auto& entries = all[name] = Entries(fs::path(TRANSCRIPTS) / name);
        tell(name, Joined(entries, 0, entries.size()));
        std::string errors;
        std::string unlisted;
        for (const Entry& entry : entries) {
            errors += entry.priority == 'E' ? entry.text + "\n" : "";
            unlisted += entry.text.find("UpdateDeviceList") == std::string::npos ? entry.text + "\n" : "";
        }
        tell(name + " at E", errors);
        if (name == "first.txt") {
            tell(name + " without its list", unlisted);
            tell(name + " without its middle", Joined(entries, 0, 8) + entries.back().text);
        }
    }
    // Two at once, of which the one that began first is killed and started again by its process.
    const auto& first = all.at("first.txt");
    const auto& other = all.at("later.txt");
    std::string both = Joined(first, 0, 20);
    for (const Entry& entry : other) {
        both += std::string(entry.text).replace(entry.text.find(" 700)"), 5, " 701)") + "\n";
    }
    tell("two at once", both + Joined(first, 0, first.size()));
    ExpectFile("stories.txt", stories);
}

TEST_P(TranscriptStory, KnowsEveryWarningAndError) {
    for (const Entry& entry : m_entries) {
        Log::Line line;
        line.priority = entry.priority;
        const auto place = entry.text.find(": ") + 2;
        line.place = entry.text.substr(place, entry.text.find(" > ") + 3 - place);
        line.message = entry.message;
        const bool isPart = entry.message.empty();
        EXPECT_TRUE(isPart || Log::PRIORITIES.find(entry.priority) < Log::PRIORITIES.find('W') ||
                    Log::FindKnownLine(line) != nullptr)
            << entry.text;
    }
}

INSTANTIATE_TEST_SUITE_P(Log, TranscriptStory, testing::ValuesIn(Transcripts()), [](const auto& name) {
    std::string word = name.param.substr(0, name.param.find('.'));
    std::replace(word.begin(), word.end(), '-', '_');
    return word;
});

TEST(MaskLog, ASecretTakesNoOtherMessageWithIt) {
    const std::string head = "I/BT_INFOSYNC( 700): ";
    const std::string place = head + "CHttpMessage.cpp: AddHttpMessageData(21) > ";
    const std::string end = place + "key:client, value : bt\n";
    const std::string before = place + "key:Authorization, value : SecretOfATo";
    const std::string masked = place + "key:Authorization, value : Secr... (20 characters)\n" + end;
    for (const std::string& again : {place, head, std::string("> ")}) {
        const std::string quote = again == "> " ? again : "";
        std::string expected = masked;
        expected.insert(expected.find('\n') + 1, quote);
        const std::string log = Cli::Join({quote, before, "\n", again, "kenInTwo1\n", quote, end}, "");
        EXPECT_EQ(Log::MaskLog(log, Cli::Masker()), quote + expected);
    }
}

TEST(Line, IsFoundByItsTagInEveryForm) {
    const std::string message = R"(a.cpp: f(1) > {"name":"x"})";
    for (const auto& [form] : Rows<1>("tables.txt", "a form of a line", "SAID", message)) {
        std::vector<std::string> read;
        Log::LineReader reader([&read](const Log::Line& line) {
            read.push_back(std::to_string(line.pid) + line.priority + line.tag + line.place + line.message);
        });
        reader.Feed(form);
        reader.Finish();
        EXPECT_EQ(read, std::vector<std::string>{"700EBT_INFOSYNC" + message}) << form;
    }
}
