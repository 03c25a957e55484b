#include <gmock/gmock.h>

#include "Television/Explain/RunReader.h"
#include "Television/RunOutcome.h"

namespace {

using Kind = Television::RunOutcome::Kind;

std::string Line(const std::string& priority, const std::string& function, const std::string& message) {
    const std::string file = function == "main" ? "main.cpp" : "Some.cpp";
    return priority + "/BT_INFOSYNC(  123): " + file + ": " + function + "(12) > " + message + "\n";
}

/** A line of another tag, as "E/NXCURL: text". */
std::string Line(const std::string& start, const std::string& message) {
    return start + "(  123): " + message + "\n";
}

/** A service's line with the file that it comes from. */
std::string LineOf(const std::string& file, const std::string& message) {
    return "E/BT_INFOSYNC(  123): " + file + ": HandleHttpStatusCode(12) > " + message + "\n";
}

const std::string END = Line("E", "main", "<<Not Error>>End main loop");
const std::string HARMLESS =
    Line("E", "main", "<<Not Error>>Start main loop") + Line("E", "Init", "Fail to parse") +
    Line("E", "Init", "exception : CKMC error, fail to get data") +
    LineOf("CKCloudDataHttpMessage.cpp", "error code : 200") + Line("W/BT", "a line of another tag");
const std::string NOT_ACTIVATED = Line("E", "GetBTInfoDataFromCloud", "Fail to activate") + END;

Explain::Run Read(const std::string& log, std::size_t step) {
    Explain::RunReader reader(0, 0);
    Explain::LogForms forms([&reader](const Explain::LogLine& line) { reader.Take(line); });
    for (std::size_t at = 0; at < log.size(); at += step) {
        forms.Feed(std::string_view(log).substr(at, step));
    }
    forms.Finish();
    return reader.Finish();
}

}  // namespace

TEST(RunOutcome, TellsHowARunEndedAndWhy) {
    struct Case {
        std::string log;
        Kind kind;
        std::string reason;
    };
    const Case cases[] = {
        {HARMLESS + END, Kind::SUCCESS, ""},
        {HARMLESS, Kind::CRASHED, "the log ends before the service did"},
        {Line("E", "GetBTInfoDataFromCloud", "HTTP error") + END, Kind::FAILURE, "HTTP error"},
        {Line("E/NXCURL", "https://host/: Timeout was reached") +
             Line("E", "GetBTInfoDataFromCloud", "request failed") + END,
         Kind::FAILURE, "request failed (NXCURL: https://host/: Timeout was reached)"},
        {Line("E", "IssueAccessToken", "exception : error") +
             Line("E", "operator()", "fail to get access Token") + END,
         Kind::FAILURE, "error"},
        {Line("W/BLUETOOTH", "no bus") + Line("E", "main", "exception : Fail to bt init") + END,
         Kind::FAILURE, "Fail to bt init (BLUETOOTH: no bus)"},
        {Line("W/TV", "tv.ini: no group") + Line("W", "Start", "Exit process") + END, Kind::FAILURE,
         "nobody is signed in; see infosync-tv sign-in (TV: tv.ini: no group)"},
        {Line("E", "operator()", "Exception : fail sso_get_login_user_id ") + END, Kind::FAILURE,
         "fail sso_get_login_user_id "},
        // What could not be stored or read makes a run failed that ended well for the service.
        {Line("E/VCONF ", "devices: No space left") + Line("E/VCONF", "another") + END, Kind::FAILURE,
         "VCONF: devices: No space left"},
        {Line("E/CKMC", "a: Permission denied") +
             Line("E", "GetBTInfoDataFromCloud", "CKMC error, fail to write new data") + END,
         Kind::FAILURE, "CKMC error, fail to write new data (CKMC: a: Permission denied)"},
        {Line("W/VCONF", "x") + END, Kind::SUCCESS, ""},
        // A refusal shows who refused what.
        {LineOf("CKCloudActivateHttpMessage.cpp", "status code : 403") + NOT_ACTIVATED, Kind::FAILURE,
         "Fail to activate (activate answered 403)"},
        {LineOf("CKCloudActivateHttpMessage.cpp", "status code : 200") +
             Line("I", "ActivateCloudServer", R"({"rcode":7,"rmsg":"no"})") + NOT_ACTIVATED,
         Kind::FAILURE, "Fail to activate (activate answered 200, rcode 7: no)"},
        {LineOf("CKCloudDataHttpMessage.cpp", "error code : 400") +
             Line("E", "DownSyncBtInfoFromCloud", "{") +
             Line("E", "DownSyncBtInfoFromCloud", "\t\"rcode\" : 4009100,") +
             Line("E", "DownSyncBtInfoFromCloud", "\t\"rmsg\" : \"old } mark\"") +
             Line("E", "DownSyncBtInfoFromCloud", "}") + Line("E", "GetBTInfoDataFromCloud", "HTTP error") +
             END,
         Kind::FAILURE, "HTTP error (records answered 400, rcode 4009100: old } mark)"},
        {LineOf("CAccessToken.cpp", R"(accessToken : {"rsp":{"error":"access_denied"}})") + NOT_ACTIVATED,
         Kind::FAILURE, "no access token (the token request was refused: access_denied)"},
        {LineOf("CAccessToken.cpp", R"(accessToken : {"rsp":{"result":{"access_token":"x"}}})") +
             LineOf("CKCloudActivateHttpMessage.cpp", "status code : 401") + NOT_ACTIVATED,
         Kind::FAILURE, "Fail to activate (activate answered 401)"},
        // A message that looks like another function's end of the run is not one.
        {Line("I", "Exchange", "data) > E/BT_INFOSYNC( 1): a: main(1) > x") + END, Kind::SUCCESS, ""},
        {LineOf("CAccessToken.cpp", "accessToken : {\"rsp\":[[[{}") + Line("I", "IssueJWT", "}") +
             Line("I", "IssueJWT", R"({"rcode":{}})") + END,
         Kind::SUCCESS, ""},
    };
    for (const auto& [log, kind, reason] : cases) {
        // In one piece, and byte by byte.
        for (const std::size_t step : {log.size(), std::size_t{1}}) {
            const auto outcome = Television::OutcomeOf(Read(log, step));
            EXPECT_EQ(outcome.kind, kind) << log;
            EXPECT_EQ(outcome.reason, reason) << log;
        }
    }
}

TEST(LogForms, PassesOnEveryLineOnce) {
    std::vector<std::string> seen;
    Explain::LogForms forms([&seen](const Explain::LogLine& line) {
        seen.push_back(line.Head() + "|" + line.message + "|" +
                       (line.continues ? "-" : std::string(1, line.priority)));
    });
    forms.Feed("stray\n\nW/TV(1): ");
    forms.Feed("x\n--\n11-24 23:59:59.007+0100 I/TV(1): y\nlast");
    forms.Finish();
    EXPECT_THAT(seen, testing::ElementsAre("|stray|-", "||-", "W/TV(1): |x|W", "|--|-",
                                           "11-24 23:59:59.007+0100 I/TV(1): |y|I", "|last|-"));
}
