#include <glib.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <sstream>
#include <stdexcept>

#include "Cli/Display.h"
#include "Cli/Json.h"
#include "Cli/Masker.h"
#include "Cli/Text.h"
#include "Cli/Time.h"
#include "Cli/Tool.h"
#include "Expected.h"
#include "Rows.h"

namespace {

constexpr std::int64_t LOWEST = std::numeric_limits<std::int64_t>::min();
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
            std::vector<std::string> marks;
            bool json = false;
        } arguments;
        for (const char* name : {"list", "device add", "fault", "fault clear"}) {
            Cli::Command command =
                tool.Add(name, "What it does", "Example:\n  tool", [this, name, &arguments] {
                    if (arguments.user == "fail") {
                        throw std::runtime_error("failed");
                    }
                    if (arguments.user == "told") {
                        throw Cli::ToldAlready(130);
                    }
                    const char* folder = std::getenv("FOLDER");
                    called = std::string(name) + ":" + arguments.user + "," + arguments.name + ":" + folder +
                             ":" + std::to_string(arguments.count) + Cli::Join(arguments.marks, "+") +
                             (arguments.json ? ":json" : "");
                });
            const Cli::Parameter user = command.Operand("USER", arguments.user);
            if (std::string(name) == "list") {
                Cli::Parameter(user).OneOf({"ann", "ben", "fail", "told", "-1"}).Required();
            }
            command.Operand("NAME", arguments.name);
            command.Option("--count", "N", arguments.count, "how many").Between(1, 9);
            command.Option("--mark", "MARK", arguments.marks, "a mark").Must(&Cli::IsUtf8);
            command.Json(arguments.json);
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

TEST(Duration, HasOneForm) {
    for (const auto& [seconds, text] : Rows<2>("tables.txt", "seconds and how long that is")) {
        EXPECT_EQ(Cli::DurationText(std::int64_t{std::stoll(seconds)}), text) << seconds;
    }
    for (const auto& [text, seconds] : Rows<2>("tables.txt", "how long and how many seconds that is")) {
        EXPECT_EQ(Cli::ParseDuration(text).value_or(-1), seconds == "none" ? -1 : std::stod(seconds)) << text;
    }
    EXPECT_EQ(Cli::DurationText(0.1234), "0.12s");
    EXPECT_EQ(Cli::DurationText(2.5), "2.5s");
    EXPECT_EQ(Cli::DurationText(89.6), "1m 30s");
}

TEST(Duration, StopsAtTheLimits) {
    EXPECT_EQ(Cli::Sum(HIGHEST, 1), HIGHEST);
    EXPECT_EQ(Cli::Sum(LOWEST, -1), LOWEST);
    EXPECT_EQ(Cli::Difference(1, LOWEST), HIGHEST);
    EXPECT_EQ(Cli::Difference(-2, HIGHEST), LOWEST);
    EXPECT_EQ(Cli::Difference(5, 3), 2);
}

TEST(Text, NoTextFromElsewhereReachesTheTerminalRaw) {
    for (const auto& [text, shown] :
         Rows<2>("tables.txt", "a text from elsewhere and what the terminal gets")) {
        EXPECT_EQ(Cli::Escape(text), shown);
    }
    EXPECT_EQ(Cli::Escape(std::string("a\0b", 3)), "a\\x00b");
}

TEST(Text, AShortSecretIsNotShownByItsBeginning) {
    EXPECT_EQ(Cli::Abbreviate("hunter2"), "... (7 characters)");
    EXPECT_EQ(Cli::Abbreviate("0123456789abcdef"), "0123... (16 characters)");
    EXPECT_EQ(Cli::Abbreviate("0123... (16 characters)"), "0123... (16 characters)");
}

TEST(Table, ColumnsAlignByWhatTheyTakeOnATerminal) {
    Cli::Table table({"NAME", "ID"});
    table.Add({"台所", "1"});
    table.Add({"e\xcc\x81", "2"});
    table.Add({"plain\n", "3"});
    EXPECT_EQ(table.Lines(Cli::Style(-1)),
              "NAME     ID\n"
              "台所     1\n"
              "e\xcc\x81        2\n"
              "plain\\n  3\n");
}

TEST(Table, FitsTheLineAndCutsNothingOffItsLastColumn) {
    Cli::Table table({"NAME", "WHY"});
    table.Add({std::string(60, 'n'), std::string(50, 'a') + " " + std::string(50, 'b')});
    const std::string unbroken = table.Lines(Cli::Style(-1));
    EXPECT_EQ(std::count(unbroken.begin(), unbroken.end(), '\n'), 2);
    std::istringstream lines(table.Lines(Cli::Style(false, 80)));
    std::string whole;
    for (std::string line; std::getline(lines, line);) {
        EXPECT_LE(Cli::DisplayWidth(line), 80U);
        whole += line;
    }
    EXPECT_EQ(std::count(whole.begin(), whole.end(), 'a') + std::count(whole.begin(), whole.end(), 'b'), 100);
    EXPECT_THAT(whole, testing::HasSubstr("n…"));
    EXPECT_EQ(Cli::Shorten("台所台所", 6), "台所…");
}

TEST(Json, NoControlCharacterReachesTheTerminalRaw) {
    EXPECT_EQ(Cli::JsonText("a\x7f\x1b\n"), "\"a\\u007f\\u001b\\n\"\n");
}

/** In the file each call stands after "$ ", then its exit status and what it says. */
TEST(Tool, AnswersEachCall) {
    std::ifstream file(std::string(TABLES) + "/calls.txt");
    std::string came;
    for (std::string line; std::getline(file, line);) {
        if (Cli::StartsWith(line, "$")) {
            char** words = nullptr;
            ASSERT_TRUE(g_shell_parse_argv(line.c_str(), nullptr, &words, nullptr));
            CalledTool tool;
            const int status = tool.Run({words + 1, words + g_strv_length(words)});
            g_strfreev(words);
            came += line + "\n" + std::to_string(status) + ": " + tool.called + tool.errors + "\n";
        }
    }
    ExpectFile("calls.txt", came);
    CalledTool tool;
    EXPECT_EQ(tool.Run({"list", "ann", "--mark", "\xff"}), 2);
    EXPECT_THAT(tool.errors, testing::HasSubstr("--mark: it is not UTF-8"));
}

TEST(Moment, IsReadAsPeopleWriteIt) {
    EXPECT_EQ(Cli::ParseMoment("2026-01-31T14:02:03Z"), "2026-01-31T14:02:03.000000Z");
    EXPECT_EQ(Cli::ParseMoment("2026-01-31T14:02:03.5+01:00"), "2026-01-31T13:02:03.500000Z");
    const std::string now = Cli::Timestamp();
    EXPECT_EQ(Cli::ParseMoment(now), now);
    const auto ago = [](const char* text) { return Cli::ParseMoment(text).value_or("none"); };
    EXPECT_LT(ago("2d"), ago("1d"));
    EXPECT_LT(ago("1d"), ago("2h"));
    EXPECT_LT(ago("2h"), ago("61m"));
    EXPECT_LT(ago("61m"), ago("59s"));
    EXPECT_EQ(Cli::TimeOfDay("2026-01-31T14:02:03"), "14:02:03");
    for (const char* text : {"", "m", "10", "-5m", "99999999999d", "14:02", "noon", "2026-01-31"}) {
        EXPECT_EQ(Cli::ParseMoment(text), std::nullopt) << text;
    }
    EXPECT_EQ(Cli::TimeOfDay("noon"), "??:??:??");
}
