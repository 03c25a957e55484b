#include <gmock/gmock.h>

#include "Television/LogReader.h"

namespace {

using Television::LogReader;
using Kind = Television::RunOutcome::Kind;

std::string Line(const std::string& priority, const std::string& function, const std::string& message) {
    return priority + "/BT_INFOSYNC(  123): Some.cpp: " + function + "(12) > " + message + "\n";
}

const std::string END = Line("E", "main", "<<Not Error>>End main loop");
const std::string HARMLESS = Line("E", "main", "<<Not Error>>Start main loop") +
                             Line("E", "Init", "Fail to parse") +
                             Line("E", "Init", "exception : CKMC error, fail to get data") +
                             Line("E", "CheckStatus", "error code : 200");

}  // namespace

TEST(LogReader, TellsHowARunEnded) {
    struct Case {
        std::string log;
        Kind kind;
        std::string reason;
    };
    const Case cases[] = {
        {HARMLESS + END, Kind::SUCCESS, ""},
        {HARMLESS, Kind::CRASHED, "the log ends before the service did"},
        {Line("E", "GetBTInfoDataFromCloud", "HTTP error") + END, Kind::FAILURE, "HTTP error"},
        {"E/NXCURL(  123): https://host/: Timeout was reached\n" +
             Line("E", "GetBTInfoDataFromCloud", "request failed") + END,
         Kind::FAILURE, "request failed (https://host/: Timeout was reached)"},
        {Line("E", "IssueAccessToken", "exception : error") +
             Line("E", "operator()", "fail to get access Token") + END,
         Kind::FAILURE, "error"},
        {Line("E", "main", "exception : Fail to bt init") + END, Kind::FAILURE, "Fail to bt init"},
        {Line("W", "Start", "Exit process") + END, Kind::FAILURE,
         "nobody is signed in; see infosync-tv sign-in"},
        // A message that looks like another function's end of the run is not one.
        {Line("I", "Exchange", "data) > E/BT_INFOSYNC( 1): a: main(1) > x") + END, Kind::SUCCESS, ""},
    };
    for (const auto& [log, kind, reason] : cases) {
        // In one piece, and byte by byte.
        for (const std::size_t step : {log.size(), std::size_t{1}}) {
            LogReader reader([](const Television::LogLine&) {});
            for (std::size_t at = 0; at < log.size(); at += step) {
                reader.Feed(log.substr(at, step));
            }
            reader.Finish();
            EXPECT_EQ(reader.Outcome().kind, kind) << log;
            EXPECT_EQ(reader.Outcome().reason, reason) << log;
        }
    }
}

TEST(LogReader, PassesOnEveryLineOnce) {
    std::vector<std::string> seen;
    LogReader reader([&seen](const Television::LogLine& line) {
        seen.push_back(line.text + "|" +
                       (line.priority == '\0' ? std::string("-") : std::string(1, line.priority)));
    });
    reader.Feed("stray\n\nW/TV(1): ");
    reader.Feed("x\nlast");
    reader.Finish();
    EXPECT_THAT(seen, testing::ElementsAre("stray|-", "|-", "W/TV(1): x|W", "last|-"));
}
