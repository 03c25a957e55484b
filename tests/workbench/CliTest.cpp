#include <gmock/gmock.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <sstream>

#include "Cli/Table.h"
#include "Cli/Text.h"
#include "Cli/Time.h"
#include "Cli/Tool.h"

namespace {

constexpr std::int64_t LOWEST = std::numeric_limits<std::int64_t>::min();
// In bytes, so that no editor turns this file around.
const std::string BIDI_OVERRIDE = {'\xe2', '\x80', '\xae'};

constexpr std::int64_t HIGHEST = std::numeric_limits<std::int64_t>::max();

/** A tool whose commands note what they were called with, and fail for the user "fail". */
struct CalledTool {
    std::string called;
    std::string errors;

    int Run(std::vector<std::string> words) {
        unsetenv("FOLDER");
        words.insert(words.begin(), "tool");
        std::vector<char*> argv;
        argv.reserve(words.size());
        for (std::string& word : words) {
            argv.push_back(word.data());
        }
        Cli::Tool tool("tool", "A tool", "");
        tool.AddFolder("FOLDER", "tool", "the folder");
        struct Arguments {
            std::string user;
            std::string name;
            int count = 7;
            bool json = false;
        } arguments;
        for (const char* name : {"list", "device add"}) {
            CLI::App& command = tool.Command(name, "What it does");
            tool.OneOf(command.add_option("USER", arguments.user), {"ann", "ben", "fail", "-1"})->required();
            command.add_option("NAME", arguments.name);
            command.add_option("--count", arguments.count)->check(CLI::Range(1, 9));
            command.add_flag("--json", arguments.json);
            command.callback([this, name, &arguments] {
                if (arguments.user == "fail") {
                    throw std::runtime_error("failed");
                }
                const char* folder = std::getenv("FOLDER");
                called = std::string(name) + ":" + arguments.user + "," + arguments.name + ":" + folder +
                         ":" + std::to_string(arguments.count) + (arguments.json ? ":json" : "");
            });
        }
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        const int status = tool.Run(static_cast<int>(argv.size()), argv.data());
        called += testing::internal::GetCapturedStdout();
        errors = testing::internal::GetCapturedStderr();
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
        {"\xd8\x9c\xef\xbb\xbf", R"(\u061c\ufeff)"},
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

TEST(Table, FitsTheLineAndCutsNothingOffItsLastColumn) {
    Cli::Table table({"NAME", "WHY"});
    table.Add({std::string(60, 'n'), std::string(50, 'a') + " " + std::string(50, 'b')});
    std::istringstream lines(table.Text(Cli::Style(-1)));
    std::string whole;
    for (std::string line; std::getline(lines, line);) {
        EXPECT_LE(Cli::DisplayWidth(line), 80U);
        whole += line;
    }
    EXPECT_EQ(std::count(whole.begin(), whole.end(), 'a') + std::count(whole.begin(), whole.end(), 'b'), 100);
    EXPECT_THAT(whole, testing::HasSubstr("n…"));
}

TEST(Tool, EachWayToCallACommand) {
    const std::pair<std::vector<std::string>, const char*> cases[] = {
        {{"--dir", "a", "list", "ann"}, "list:ann,:a:7"},
        {{"--dir", "a", "device", "add", "ann", "x", "--json"}, "device add:ann,x:a:7:json"},
        {{"list", "--dir=b", "--count", "9", "--", "-1"}, "list:-1,:b:9"},
        {{"--dir", "a", "list", "--dir", "b", "ann", "list"}, "list:ann,list:b:7"},
        {{"device", "add", "ann", "[a,b]", "--dir", "[c]"}, "device add:ann,[a,b]:[c]:7"},
        {{"list", "ann", "", "--dir", "--json"}, "list:ann,:--json:7"},
    };
    for (const auto& [words, called] : cases) {
        CalledTool tool;
        EXPECT_EQ(tool.Run(words), 0) << Cli::Join(words, " ") << tool.errors;
        EXPECT_EQ(tool.called, called) << Cli::Join(words, " ");
    }
}

TEST(Tool, AWrongCallIsAnsweredWithWhatIsWrong) {
    struct Case {
        std::vector<std::string> words;
        const char* problem;
        const char* command;
    };
    const Case cases[] = {
        {{}, "a command is missing", ""},
        {{"lsit", "ann"}, "there is no command lsit; nearest: list", ""},
        {{"lsit", "--help"}, "there is no command lsit; nearest: list", ""},
        {{"device"}, "a command is missing", " device"},
        {{"device", "ad"}, "there is no command ad; nearest: add", " device"},
        {{"list"}, "USER is required", " list"},
        {{"list", "an"}, "USER: there is no \"an\"; nearest: ann", " list"},
        {{"list", "ann", "b", "c"}, "one word too many: c", " list"},
        {{"list", "--jsn"}, "there is no option --jsn; nearest: --json", " list"},
        {{"list", "ann", "--count"}, "--count: a value is missing", " list"},
        {{"list", "ann", "--count", "10"}, "--count: Value 10 not in range", " list"},
        {{"list", "ann", "--count", "x"}, "--count: Value x not in range", " list"},
        {{"--dir", "", "list", "ann"}, "--dir: it is empty", " list"},
        {{"--dir=", "list", "ann"}, "--dir: it is empty", ""},
        {{"completion", "fish"}, "SHELL: there is no \"fish\"; there are bash, zsh", " completion"},
        {{"help", "device", "lsit"}, "there is no command lsit", " help"},
    };
    for (const auto& [words, problem, command] : cases) {
        CalledTool tool;
        EXPECT_EQ(tool.Run(words), 2) << Cli::Join(words, " ");
        EXPECT_THAT(tool.errors, testing::StartsWith(std::string("tool: ") + problem));
        EXPECT_THAT(tool.errors, testing::EndsWith(std::string("\nTry: tool") + command + " --help\n"));
        EXPECT_EQ(tool.called, "");
    }
    CalledTool tool;
    EXPECT_EQ(tool.Run({"list", "fail"}), 1);
    EXPECT_EQ(tool.errors, "tool: failed\n");
}

TEST(Tool, CompletionOffersWhatMayComeNext) {
    const std::pair<std::vector<std::string>, const char*> cases[] = {
        {{"l"}, "list\tWhat it does\n"},
        {{"--dir", "x", "device", ""}, "add\tWhat it does\n"},
        {{"list", "a"}, "ann\n"},
        {{"list", "ann", "a"}, ""},
        {{"list", "--c"}, "--count\n"},
        {{"device", "add", "--di"}, "--dir\tthe folder\n"},
        {{"--dir", "l"}, ""},
        {{"list", "--dir", "a"}, ""},
        {{"completion", ""}, "bash\nzsh\n"},
        {{"help", "device", ""}, "add\tWhat it does\n"},
    };
    for (const auto& [words, lines] : cases) {
        CalledTool tool;
        std::vector<std::string> called = words;
        called.insert(called.begin(), "__complete");
        EXPECT_EQ(tool.Run(called), 0);
        EXPECT_EQ(tool.called, lines) << Cli::Join(words, " ");
    }
}
