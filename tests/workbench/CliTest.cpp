#include <gmock/gmock.h>

#include <cstdint>
#include <limits>

#include "Cli/Duration.h"
#include "Cli/Table.h"
#include "Cli/Text.h"
#include "Cli/Tool.h"

namespace {

constexpr std::int64_t LOWEST = std::numeric_limits<std::int64_t>::min();
// In bytes, so that no editor turns this file around.
const std::string BIDI_OVERRIDE = {'\xe2', '\x80', '\xae'};

constexpr std::int64_t HIGHEST = std::numeric_limits<std::int64_t>::max();

/** A tool whose commands note what they were called with, and end with status 1 for the operand "fail". */
struct CalledTool {
    std::string called;

    int Run(std::vector<std::string> words) {
        words.insert(words.begin(), "tool");
        std::vector<char*> argv;
        argv.reserve(words.size());
        for (std::string& word : words) {
            argv.push_back(word.data());
        }
        Cli::Tool tool;
        tool.name = "tool";
        tool.options = {{"dir", "DIR", ""}};
        for (const char* name : {"list", "device add"}) {
            Cli::Command command;
            command.name = name;
            command.operands = {"USER", "[NAME]"};
            command.options = {{"count", "N", ""}, {"json", "", ""}};
            command.run = [this, name](const Cli::Arguments& arguments) {
                if (arguments.Operand(0) == "fail") {
                    throw std::runtime_error("failed");
                }
                called = std::string(name) + ":" + Cli::Join(arguments.Operands(), ",") + ":" +
                         arguments.Value("dir") + ":" + std::to_string(arguments.Number("count", 7, 1, 9)) +
                         (arguments.Has("json") ? ":json" : "");
                return 0;
            };
            tool.commands.push_back(command);
        }
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        const int status = Cli::Run(tool, static_cast<int>(argv.size()), argv.data());
        testing::internal::GetCapturedStdout();
        testing::internal::GetCapturedStderr();
        return status;
    }
};

}  // namespace

TEST(Duration, SaysTheTwoLargestUnits) {
    const std::pair<std::int64_t, const char*> cases[] = {
        {0, "0 seconds"},
        {1, "1 second"},
        {-61, "1 minute 1 second"},
        {3600, "1 hour"},
        {3601, "1 hour"},
        {2 * 86400 + 3600 + 59, "2 days 1 hour"},
        {365 * 86400, "1 year"},
        {LOWEST, "more than 1000 years"},
        {HIGHEST, "more than 1000 years"},
    };
    for (const auto& [seconds, words] : cases) {
        EXPECT_EQ(Cli::DurationWords(seconds), words) << seconds;
    }
}

TEST(Duration, StopsAtTheLimits) {
    EXPECT_EQ(Cli::Sum(HIGHEST, 1), HIGHEST);
    EXPECT_EQ(Cli::Sum(LOWEST, -1), LOWEST);
    EXPECT_EQ(Cli::Difference(1, LOWEST), HIGHEST);
    EXPECT_EQ(Cli::Difference(-2, HIGHEST), LOWEST);
    EXPECT_EQ(Cli::Difference(5, 3), 2);
}

TEST(Text, NoTextFromElsewhereReachesTheTerminalRaw) {
    const std::pair<std::string, const char*> cases[] = {
        {"Küche 台所", "Küche 台所"},
        {"a\x1b[31mb\n\t", R"(a\x1b[31mb\n\t)"},
        {std::string("a\0b", 3), "a\\x00b"},
        {"bad \xff\xc3", "bad \\xff\\xc3"},
        {"C1 \xc2\x9b", "C1 \\x9b"},
        {BIDI_OVERRIDE + ", line \xe2\x80\xa8", R"(\u202e, line \u2028)"},
    };
    for (const auto& [text, shown] : cases) {
        EXPECT_EQ(Cli::Escape(text), shown);
    }
}

TEST(Text, AShortSecretIsNotShownByItsBeginning) {
    EXPECT_EQ(Cli::Abbreviate("hunter2"), "... (7 characters)");
    EXPECT_EQ(Cli::Abbreviate("0123456789abcdef"), "0123... (16 characters)");
}

TEST(Table, ColumnsAlignByWhatTheyTakeOnATerminal) {
    Cli::Table table({"NAME", "ID"});
    table.Add({"台所", "1"});
    table.Add({"e\xcc\x81", "2"});
    table.Add({"plain\n", "3"});
    EXPECT_EQ(table.Text(Cli::Style(-1)),
              "NAME     ID\n"
              "台所     1\n"
              "e\xcc\x81        2\n"
              "plain\\n  3\n");
}

TEST(Tool, CallsAndExitStatuses) {
    struct Case {
        std::vector<std::string> words;
        int status;
        const char* called;
    };
    const Case cases[] = {
        {{"list", "ann"}, 0, "list:ann::7"},
        {{"--dir", "a", "device", "add", "ann", "x", "--json"}, 0, "device add:ann,x:a:7:json"},
        {{"list", "--dir=b", "--count", "9", "--", "-1"}, 0, "list:-1:b:9"},
        {{"--dir", "a", "list", "--dir", "b", "ann"}, 0, "list:ann:b:7"},
        {{"list", "fail"}, 1, ""},
        {{"--help"}, 0, ""},
        {{"list", "--help"}, 0, ""},
        {{"device", "--help"}, 0, ""},
        {{"help", "device", "add"}, 0, ""},
        {{"completion", "zsh"}, 0, ""},
        {{}, 2, ""},
        {{"nothing"}, 2, ""},
        {{"device"}, 2, ""},
        {{"device", "rename"}, 2, ""},
        {{"list"}, 2, ""},
        {{"list", "a", "b", "c"}, 2, ""},
        {{"list", "a", "--jsn"}, 2, ""},
        {{"list", "a", "--count"}, 2, ""},
        {{"list", "a", "--count", "10"}, 2, ""},
        {{"list", "a", "--count", "x"}, 2, ""},
        {{"completion", "fish"}, 2, ""},
        {{"help", "nothing"}, 2, ""},
    };
    for (const auto& [words, status, called] : cases) {
        CalledTool tool;
        EXPECT_EQ(tool.Run(words), status) << Cli::Join(words, " ");
        EXPECT_EQ(tool.called, called) << Cli::Join(words, " ");
    }
}
