#include <dlog.h>
#include <fcntl.h>

#include <csignal>

#include "Television.h"

using ::testing::HasSubstr;
using ::testing::StartsWith;

using DlogTest = Television;

namespace {

int Log(int priority, const std::string& text) {
    return __dlog_print(LOG_ID_MAIN, priority, "LONGER_TAG", "%s: %s(%d) > %s", "File.cpp", "Do", 7,
                        text.c_str());
}

}  // namespace

TEST_F(DlogTest, TextOfOthersCannotPassForALineOrHideOne) {
    const std::string head = "E/LONGER_TAG(PID): File.cpp: Do(7) > ";
    const std::pair<std::string, std::string> cases[] = {
        {R"(plain \n {"a":1})", R"(plain \n {"a":1})"},
        {"tab\tstays", "tab\tstays"},
        {"a\nE/LONGER_TAG(1): b", "a\n" + head + "E/LONGER_TAG(1): b"},
        {"ends\n", "ends"},
        {"\n\na", "\n" + head + "\n" + head + "a"},
        {"esc\x1b[2K\r\x7f", R"(esc\x1b[2K\x0d\x7f)"},
        {"c1 \xC2\x9B", "c1 \\u009b"},
        {"separators \xE2\x80\xA8\xE2\x80\xA9", R"(separators \u2028\u2029)"},
        {"\xC3\xBC \xF0\x9F\x8E\xA7", "\xC3\xBC \xF0\x9F\x8E\xA7"},
        {"bad \xFF \xC3( \xED\xA0\x80 \xF0\x9F", R"(bad \xff \xc3( \xed\xa0\x80 \xf0\x9f)"},
    };
    for (const auto& [text, shown] : cases) {
        Log(DLOG_ERROR, text);
        EXPECT_EQ(Logged(), head + shown + "\n") << text;
    }
}

TEST_F(DlogTest, EntryIsCutBetweenCharactersAtThePlatformsLimit) {
    for (std::size_t padding = 0; padding < 4; ++padding) {
        std::string text(padding, 'x');
        while (text.size() < 6000) {
            text += "\xF0\x9F\x8E\xA7";
        }
        __dlog_print(LOG_ID_MAIN, DLOG_INFO, "TAG", "%s", text.c_str());
        const std::string wanted = text.substr(0, 4076 - (4076 - padding) % 4);
        EXPECT_EQ(Logged(), "I/TAG     (PID): " + wanted + "\n");
    }
    Log(DLOG_INFO, std::string(4076 - std::string("File.cpp: Do(7) > ").size(), 'x'));
    EXPECT_THAT(Logged(), HasSubstr("xxx\n"));
}

TEST_F(DlogTest, BoundingTextsLeavesOtherConversionsAlone) {
    __dlog_print(LOG_ID_MAIN, DLOG_INFO, "TAG", "%% %5s|%-5s|%.2s|%.*s|%ld%%s %c", "a", "b", "long", 1,
                 "long", 5L, 'c');
    EXPECT_EQ(Logged(), "I/TAG     (PID): %     a|b    |lo|l|5%s c\n");
}

TEST_F(DlogTest, LevelIsReadAfreshAndHidesWhatIsBelow) {
    SetIni("", "E");
    EXPECT_GT(Log(DLOG_ERROR, "shown"), 0);
    EXPECT_EQ(Log(DLOG_WARN, "hidden"), 0);
    EXPECT_EQ(Logged(), "E/LONGER_TAG(PID): File.cpp: Do(7) > shown\n");
    SetIni("", "F");
    EXPECT_EQ(Log(DLOG_ERROR, "hidden"), 0);
    SetIni("", "D");
    EXPECT_GT(Log(DLOG_FATAL, "shown"), 0);
    EXPECT_GT(Log(DLOG_DEBUG, "shown"), 0);
}

TEST_F(DlogTest, ProblemOfTheTelevisionIsToldOnceWithThePath) {
    SetIni("[sso]\nstate=yes");
    Log(DLOG_ERROR, "first");
    Log(DLOG_ERROR, "second");
    const std::string log = Logged();
    EXPECT_THAT(log, StartsWith("W/TV      (PID): " + File("tv.ini").string() + ": [sso] state: "));
    EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 3);
}

TEST_F(DlogTest, LogThatCannotBeWrittenHarmsNobody) {
    std::filesystem::create_directory(File("log"));
    ::testing::internal::CaptureStderr();
    EXPECT_GT(Log(DLOG_ERROR, "to standard error"), 0);
    Log(DLOG_ERROR, "again");
    const std::string shown = ::testing::internal::GetCapturedStderr();
    EXPECT_THAT(shown, HasSubstr("log: Is a directory; the log goes to standard error instead\n"));
    EXPECT_EQ(std::count(shown.begin(), shown.end(), '\n'), 3);

    Put("tv.ini", "[log]\nfile=/dev/full\n");
    EXPECT_EQ(Log(DLOG_ERROR, "no space"), -ENOSPC);

    Put("tv.ini", "[log]\nlevel=V\n");
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const int standardError = dup(STDERR_FILENO);
    dup2(ends[1], STDERR_FILENO);
    close(ends[0]);
    close(ends[1]);
    EXPECT_EQ(Log(DLOG_ERROR, "nobody listens"), -EPIPE);
    dup2(standardError, STDERR_FILENO);
    close(standardError);
}
