#include <dlog.h>
#include <fcntl.h>

#include <chrono>
#include <cstdarg>
#include <ctime>
#include <thread>

#include "LogSink.h"
#include "Rows.h"
#include "Television.h"
#include "TvIni.h"

using ::testing::HasSubstr;
using ::testing::StartsWith;

using DlogTest = Television;

namespace {

int Log(int priority, const std::string& text) {
    return __dlog_print(LOG_ID_MAIN, priority, "LONGER_TAG", "%s: %s(%d) > %s", "File.cpp", "Do", 7,
                        text.c_str());
}

constexpr char TWO_LINES[] = "one\n<0>two";

std::string TwoLinesAfter(const std::string& head) {
    std::ostringstream lines;
    lines << head << "one\n" << head << "<0>two\n";
    return lines.str();
}

int Write(LogSink& sink, int priority, const char* format, ...) {
    std::va_list values;
    va_start(values, format);
    const int result = sink.Write(priority, "TAG", format, values);
    va_end(values);
    return result;
}

}  // namespace

TEST_F(DlogTest, TextOfOthersCannotPassForALineOrHideOne) {
    const std::string head = "E/LONGER_TAG(PID): File.cpp: Do(7) > ";
    for (const auto& [text, shown] :
         Rows<2>("tables.txt", "a text of others and what is logged", "HEAD", head)) {
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

TEST_F(DlogTest, LevelHidesWhatIsBelowAndIsReadOnce) {
    Log(DLOG_ERROR, "first");
    Put("tv.ini", "[log]\nlevel=F\n");
    EXPECT_GT(Log(DLOG_VERBOSE, "shown"), 0);
    constexpr std::string_view LETTERS = "VDIWEF";
    for (std::size_t level = 0; level < LETTERS.size(); ++level) {
        LogSink sink(TvIni(std::string("[log]\nlevel=") + LETTERS[level], ""));
        for (int priority = DLOG_VERBOSE; priority <= DLOG_FATAL; ++priority) {
            EXPECT_EQ(Write(sink, priority, "text") > 0, priority - DLOG_VERBOSE >= static_cast<int>(level));
        }
    }
}

TEST_F(DlogTest, ProblemOfTheTelevisionIsToldWithThePathUnlessTheLevelHidesIt) {
    const LogSink shown(TvIni("[sso]\nstate=yes", "PATH"));
    const LogSink hidden(TvIni("[sso]\nstate=yes\n[log]\nlevel=E", "PATH"));
    const std::string log = Logged();
    EXPECT_THAT(log, StartsWith("W/TV      (PID): PATH, line 2: [sso] state: "));
    EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 1);
}

TEST_F(DlogTest, LogThatCannotBeWrittenHarmsNobody) {
    std::filesystem::create_directory(File("log"));
    LogSink toFolder(TvIni("[log]\nfile=log", ""));
    EXPECT_GT(Write(toFolder, DLOG_ERROR, "to standard error"), 0);
    const std::string shown = Logged();
    EXPECT_THAT(shown, HasSubstr("log: Is a directory; the log goes to standard error instead\n"));
    EXPECT_THAT(shown, HasSubstr("to standard error\n"));

    LogSink toFullDisk(TvIni("[log]\nfile=/dev/full", ""));
    EXPECT_EQ(Write(toFullDisk, DLOG_ERROR, "no space"), -ENOSPC);

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

TEST_F(DlogTest, PipeWithoutAReaderIsNotWaitedForAndItsEndHarmsNobody) {
    ASSERT_EQ(mkfifo(File("log").c_str(), 0600), 0);
    const LogSink unread(TvIni("[log]\nfile=log", ""));
    EXPECT_THAT(Logged(),
                HasSubstr("log: No such device or address; the log goes to standard error instead\n"));
    const int reader = open(File("log").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    LogSink toPipe(TvIni("[log]\nfile=log", ""));
    close(reader);
    EXPECT_EQ(Write(toPipe, DLOG_ERROR, "nobody listens"), -EPIPE);
}

TEST_F(DlogTest, ClosedStandardErrorIsNeverAnotherFile) {
    const int input = dup(STDIN_FILENO);
    const int standardError = dup(STDERR_FILENO);
    close(STDIN_FILENO);
    close(STDERR_FILENO);
    const LogSink sink(TvIni("", ""));
    const int opened = open(File("tv.ini").c_str(), O_RDONLY | O_CLOEXEC);
    dup2(standardError, STDERR_FILENO);
    dup2(input, STDIN_FILENO);
    EXPECT_GT(opened, STDERR_FILENO);
    for (const int descriptor : {input, standardError, opened}) {
        close(descriptor);
    }
}

TEST_F(DlogTest, LineIsWrittenWholeThoughWritesAreInterruptedShortAndMany) {
    LogSink sink(TvIni("[log]\nfile=log", ""));
    SystemCalls::Reset().writes = SystemCalls::Writes::INTERRUPTED_ONCE;
    EXPECT_GT(Write(sink, DLOG_ERROR, "text"), 0);
    SystemCalls::Reset().writes = SystemCalls::Writes::BYTE_BY_BYTE;
    const auto writeMany = [&sink](const char* text) {
        for (int i = 0; i < 500; ++i) {
            Write(sink, DLOG_ERROR, "%s", text);
        }
    };
    std::thread other(writeMany, "aaaaaaaaaa");
    writeMany("bbbbbbbbbb");
    other.join();
    std::istringstream lines(Get("log"));
    int count = 0;
    for (std::string line; std::getline(lines, line); ++count) {
        EXPECT_THAT(line,
                    ::testing::ContainsRegex(count == 0 ? "^E/TAG.*: text$" : "^E/TAG.*: (a{10}|b{10})$"));
    }
    EXPECT_EQ(count, 1001);
}

TEST_F(DlogTest, JournalIsToldThePriorityOfEachLine) {
    struct stat status = {};
    ASSERT_EQ(fstat(STDERR_FILENO, &status), 0);
    const std::string own = std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino);
    setenv("JOURNAL_STREAM", own.c_str(), 1);
    LogSink sink(TvIni("[log]\nlevel=V", ""));
    LogSink toFile(TvIni("[log]\nfile=log", ""));
    setenv("JOURNAL_STREAM", (own + "0").c_str(), 1);
    LogSink toOther(TvIni("", ""));
    unsetenv("JOURNAL_STREAM");
    for (const auto& [priority, start] :
         {std::pair(DLOG_VERBOSE, "<7>V/"), std::pair(DLOG_DEBUG, "<7>D/"), std::pair(DLOG_INFO, "<6>I/"),
          std::pair(DLOG_WARN, "<4>W/"), std::pair(DLOG_ERROR, "<3>E/"), std::pair(DLOG_FATAL, "<2>F/")}) {
        const std::string head = std::string(start) + "TAG     (PID): ";
        Write(sink, priority, TWO_LINES);
        EXPECT_EQ(Logged(), TwoLinesAfter(head));
    }
    Write(toFile, DLOG_ERROR, "text");
    EXPECT_THAT(Get("log"), StartsWith("E/TAG"));
    Write(toOther, DLOG_ERROR, "text");
    EXPECT_THAT(Logged(), StartsWith("E/TAG"));
}

TEST_F(DlogTest, FormsWithATimeSayWhenInLocalTime) {
    setenv("TZ", "XYZ-5:30", 1);
    const auto now = [] {
        const auto seconds = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now()) + 19'800;
        std::ostringstream text;
        text << std::put_time(std::gmtime(&seconds), "%m-%d %H:%M:%S");
        return text.str();
    };
    std::ostringstream ids;
    ids << " I/TAG     (P" << std::setw(5) << getpid() << ", T" << std::setw(5) << getpid() << "): ";
    for (const auto& [form, id] :
         {std::pair(std::string("time"), std::string(" I/TAG     (PID): ")), {"threadtime", ids.str()}}) {
        LogSink sink(TvIni("[log]\nformat=" + form, ""));
        std::string log;
        std::string second;
        do {
            Logged();
            second = now();
            Write(sink, DLOG_INFO, TWO_LINES);
            log = Logged();
        } while (second != now());
        const std::string time = log.substr(0, log.find(" I/"));
        EXPECT_THAT(time, ::testing::MatchesRegex(second + "\\.[0-9][0-9][0-9]\\+0530"));
        EXPECT_EQ(log, TwoLinesAfter(time + id));
    }
    unsetenv("TZ");
}

TEST_F(DlogTest, EnvironmentChoosesForOneProcess) {
    setenv("INFOSYNC_TV_LOG_FORMAT", "time", 1);
    setenv("INFOSYNC_TV_LOG_LEVEL", "E", 1);
    LogSink chosen(TvIni("", ""));
    setenv("INFOSYNC_TV_LOG_FORMAT", "brief time", 1);
    setenv("INFOSYNC_TV_LOG_LEVEL", "EF", 1);
    LogSink nonsense(TvIni("", ""));
    unsetenv("INFOSYNC_TV_LOG_FORMAT");
    unsetenv("INFOSYNC_TV_LOG_LEVEL");
    EXPECT_EQ(Write(chosen, DLOG_WARN, "hidden"), 0);
    Write(chosen, DLOG_ERROR, "text");
    EXPECT_THAT(Logged(), ::testing::ContainsRegex("[+-][0-9]{4} E/TAG"));
    Write(nonsense, DLOG_WARN, "text");
    EXPECT_THAT(Logged(), StartsWith("W/TAG"));
}

TEST_F(DlogTest, FileIsAppendedToAndIsTheUsersAlone) {
    for (const char* text : {"first", "second"}) {
        LogSink sink(TvIni("[log]\nfile=log", ""));
        Write(sink, DLOG_ERROR, text);
    }
    EXPECT_THAT(Get("log"), ::testing::ContainsRegex("first\n.*second\n"));
    EXPECT_EQ(ModeOf("log"), 0600U);
    EXPECT_EQ(Logged(), "");
}
