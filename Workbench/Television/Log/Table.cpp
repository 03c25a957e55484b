#include "Television/Log/Table.h"

#include <utility>

#include "Cli/Text.h"
#include "Television/Log/JsonText.h"
#include "Television/Log/RunReader.h"
#include "Util/CInfoSyncException.h"
#include "Util/SecurityUtil.h"

namespace Log {

namespace {

using Text = std::string_view;
using Kind = KnownLine::Kind;

constexpr char ASK_SIGN_IN[] = "sign out and in again; see the sign-in service's log";
constexpr char SEE_SERVER[] = "see the server: its answer is logged at I";
constexpr char SEE_KEY_MANAGER[] = "see the key manager: space, rights";

std::vector<KnownLine> MakeTable() {
    return {
        {'E', "<<Not Error>>Start main loop", "", Step::START, Kind::NORMAL,
         [](auto& r, Text) { r.run.sawStart = true; }, "the process began"},
        {'E', "<<Not Error>>End main loop", "", Step::END, Kind::NORMAL,
         [](auto& r, Text) { r.run.sawEnd = true; }, "the process came to its end"},
        {'E', "<<Not Error>> Factory Reset Flag : ", "", Step::START, Kind::NORMAL,
         [](auto& r, Text rest) { r.run.reset = FirstNumber(rest) == 1; },
         "1 asks for a factory reset, 0 does not"},
        {'E', "Set Factory Reset Flag as 0", "", Step::START, Kind::NORMAL,
         [](auto& r, Text) { r.run.reset = true; }, "the factory reset is under way"},
        {'E', "<<Not Error>> Reset all datas", "", Step::START, Kind::NORMAL,
         [](auto& r, Text) { r.run.reset = true; }, "all that is stored is wiped"},
        {'E', "Fail to bt init", "", Step::START, Kind::FAILURE, nullptr, "the Bluetooth stack did not start",
         "see the set's Bluetooth service"},
        {'W', "Not logged in, try : ", "", Step::SIGN_IN, Kind::NORMAL,
         [](auto& r, Text rest) { r.run.failedChecks = static_cast<std::size_t>(FirstNumber(rest)); },
         "nobody was signed in at this check; there are five, 5 seconds apart"},
        {'W', "Exit process", "", Step::SIGN_IN, Kind::FAILURE, nullptr,
         "nobody was signed in at any of the five checks", "sign in, start the service again"},
        {'E', "fail sso_get_login_user_id", "", Step::SIGN_IN, Kind::FAILURE, nullptr,
         "the sign-in service names no user although somebody is signed in", ASK_SIGN_IN},
        {'E', "Fail to parse", "CAccessTokenManager.cpp", Step::STORED, Kind::LIVED_WITH,
         [](auto& r, Text) {
             r.Miss("the access tokens are missing, damaged or refused by the key manager");
         },
         "what is stored of it is missing (as on a first run), damaged or refused by the key manager"},
        {'E', "Fail to parse", "CJsonWebToken.cpp", Step::STORED, Kind::LIVED_WITH,
         [](auto& r, Text) { r.Miss("the app tokens are missing, damaged or refused by the key manager"); },
         "what is stored of it is missing (as on a first run), damaged or refused by the key manager"},
        {'E', "Fail to parse", "CServiceActivationInfo.cpp", Step::STORED, Kind::LIVED_WITH,
         [](auto& r, Text) { r.Miss("the activations are missing, damaged or refused by the key manager"); },
         "what is stored of it is missing (as on a first run), damaged or refused by the key manager"},
        {'E', "exception : CKMC error", "Init", Step::STORED, Kind::LIVED_WITH,
         [](auto& r, Text) { r.Miss("the sign-in document is missing or refused by the key manager"); },
         "the stored sign-in document is missing (as on a first run) or refused by the key manager"},
        {'E', "exception : ", "Init", Step::STORED, Kind::LIVED_WITH,
         [](auto& r, Text) { r.Miss("the sign-in document is damaged"); },
         "the stored sign-in document is damaged"},
        {'W', "null", "", Step::TOKEN, Kind::NORMAL, nullptr, "no access token is stored for this user"},
        {'W', CInfoSyncTokenNotExistException().what(), "", Step::TOKEN, Kind::NORMAL,
         [](auto& r, Text) {
             r.AskToken(Run::Source::NEW, "since none that can be used was stored for this user");
         },
         "no access token that can be used is stored for this user: a new one is asked for"},
        {'W', "Refresh Token Expired, need to issue new token", "", Step::TOKEN, Kind::NORMAL,
         [](auto& r, Text) { r.AskToken(Run::Source::NEW, "since the refresh token ran out"); },
         "the refresh token has run out: a new token is asked for"},
        {'W', CInfoSyncTokenExpiredException().what(), "", Step::TOKEN, Kind::NORMAL,
         [](auto& r, Text) { r.AskToken(Run::Source::REFRESHED, "since the access token ran out"); },
         "the access token has run out, the refresh token has not: it is refreshed"},
        {'I', "issuedTime ", "IsRefreshTokenExpired", Step::TOKEN, Kind::NORMAL,
         [](auto& r, Text rest) { r.TakeAccessClock(rest, true); }},
        {'I', "issuedTime ", "IsTokenExpired", Step::TOKEN, Kind::NORMAL,
         [](auto& r, Text rest) { r.TakeAccessClock(rest, false); }},
        {'I', "authCode : ", "OnAuthCodeIssued", Step::CODE, Kind::NORMAL,
         [](auto& r, Text) { r.TakeCode(); }},
        {'E', "result != SSO_TRUE", "", Step::CODE, Kind::FAILURE, nullptr,
         "the sign-in service gave no code; the process waits for one until it is stopped", ASK_SIGN_IN},
        {'E', "userData is authcode", "", Step::CODE, Kind::FAILURE, nullptr,
         "the sign-in service gave no code; the process waits for one until it is stopped", ASK_SIGN_IN},
        {'E', "userData is nullptr", "", Step::CODE, Kind::FAILURE, nullptr,
         "the sign-in service answered nobody; the process waits for a code until it is stopped",
         ASK_SIGN_IN},
        {'E', "fail to parse xml", "", Step::CODE, Kind::UNREADABLE, nullptr,
         "the sign-in service's document is no XML", ASK_SIGN_IN},
        {'E', "server return failed.", "", Step::CODE, Kind::UNREADABLE, nullptr,
         "the sign-in service's document says that it failed", ASK_SIGN_IN},
        {'E', "no text in element ", "", Step::CODE, Kind::UNREADABLE, nullptr,
         "the sign-in service's document has an empty element", ASK_SIGN_IN},
        {'E', "loginId is empty", "", Step::CODE, Kind::FAILURE, nullptr,
         "a token came while no user was known", ASK_SIGN_IN},
        {'E', "no user to issue a token for", "", Step::CODE, Kind::FAILURE, nullptr,
         "a code came while no user was known", ASK_SIGN_IN},
        {'I', "key:code,", "", Step::ASK_TOKEN, Kind::NORMAL,
         [](auto& r, Text) { r.AskToken(Run::Source::NEW, ""); }},
        {'I', "key:refresh_token,", "", Step::ASK_TOKEN, Kind::NORMAL,
         [](auto& r, Text) { r.AskToken(Run::Source::REFRESHED, ""); }},
        {'E', "fail to get ", "", Step::TOKEN, Kind::LIVED_WITH,
         [](auto& r, Text rest) { r.run.subject = rest; },
         "the sign-in document, new or stored, lacks this element"},
        {'E', "fail to read", "", Step::TOKEN, Kind::FAILURE, nullptr,
         "the sign-in document, new or stored, lacks what a token is asked for with",
         "where a new code was asked for, sign out and in again; where the token was to be refreshed, "
         "a factory reset, or wait until the refresh token has run out"},
        {'E', "error code : ", "CAuthServerHttpMessage.cpp", Step::TOKEN_ANSWER, Kind::LIVED_WITH,
         [](auto& r, Text rest) { r.TakeStatus(Run::TOKEN, rest); },
         "the authorisation server answered with a code of its own"},
        {'E', "error", "", Step::TOKEN_ANSWER, Kind::REFUSED, nullptr,
         "the authorisation server refused with a code of its own", "see the server"},
        {'I', "accessToken : ", "", Step::TOKEN_ANSWER, Kind::NORMAL, [](auto& r, Text) { r.TakeBody(); },
         ""},
        {'E', "token is empty", "", Step::TOKEN_ANSWER, Kind::UNREADABLE, nullptr,
         "the authorisation server's answer is empty", "see the server"},
        {'E', "fail to get access Token", "", Step::TOKEN, Kind::FAILURE,
         [](auto& r, Text) { r.run.endedWithoutToken = true; }, "the run ended without an access token"},
        {'W', "No token", "CServiceActivationInfo.cpp", Step::ASK_ACTIVATION, Kind::NORMAL,
         [](auto& r, Text) { r.TakeWhy(Run::ACTIVATION, "since none that can be used was stored"); },
         "none that can be used is stored for this user"},
        {'W', "No token", "CJsonWebToken.cpp", Step::ASK_APP, Kind::NORMAL,
         [](auto& r, Text) { r.TakeWhy(Run::APP, "since none that can be used was stored"); },
         "none that can be used is stored for this user"},
        {'W', "Expired Token", "CServiceActivationInfo.cpp", Step::ASK_ACTIVATION, Kind::NORMAL,
         [](auto& r, Text) { r.TakeWhy(Run::ACTIVATION, "since the stored one ran out"); },
         "the stored one has run out"},
        {'W', "Expired Token", "CJsonWebToken.cpp", Step::ASK_APP, Kind::NORMAL,
         [](auto& r, Text) { r.TakeWhy(Run::APP, "since the stored one ran out"); },
         "the stored one has run out"},
        {'I', "expired time : ", "CServiceActivationInfo.cpp", Step::ASK_ACTIVATION, Kind::NORMAL,
         [](auto& r, Text rest) { r.TakeExpiry(Run::ACTIVATION, rest, 1000); }},
        {'I', "expired time : ", "CJsonWebToken.cpp", Step::ASK_APP, Kind::NORMAL,
         [](auto& r, Text rest) { r.TakeExpiry(Run::APP, rest, 1); }},
        {'I', "Already activated", "", Step::ASK_ACTIVATION, Kind::NORMAL,
         [](auto& r, Text) { r.StillHolds(Run::ACTIVATION); }},
        {'I', "Already valid JWT exist", "", Step::ASK_APP, Kind::NORMAL,
         [](auto& r, Text) { r.StillHolds(Run::APP); }},
        {'W', "Service is not acitivated", "", Step::ASK_ACTIVATION, Kind::NORMAL,
         [](auto& r, Text) { r.Ask(Run::ACTIVATION); }, "it is asked for"},
        {'W', "JWT is not valid", "", Step::ASK_APP, Kind::NORMAL, [](auto& r, Text) { r.Ask(Run::APP); },
         "it is asked for"},
        {'I', "key:cdid,", "", Step::ASK_ACTIVATION, Kind::NORMAL,
         [](auto& r, Text) { r.Ask(Run::ACTIVATION); }},
        {'I', "key:x-kc-dvc-id,", "", Step::ASK_APP, Kind::NORMAL, [](auto& r, Text) { r.Ask(Run::APP); },
         ""},
        {'I', "key:Authorization,", "", Step::ASK_DOWNLOAD, Kind::NORMAL,
         [](auto& r, Text) { r.Ask(Run::DOWNLOAD); }},
        {'E', "status code : ", "CKCloudActivateHttpMessage.cpp", Step::ACTIVATION_ANSWER, Kind::NORMAL,
         [](auto& r, Text rest) { r.TakeStatus(Run::ACTIVATION, rest); },
         "the status of the answer; none is a failure by itself"},
        {'E', "status code : ", "CKCloudAuthHttpMessage.cpp", Step::APP_ANSWER, Kind::NORMAL,
         [](auto& r, Text rest) { r.TakeStatus(Run::APP, rest); },
         "the status of the answer; none is a failure by itself"},
        {'E', "Fail to activate", "", Step::ACTIVATION_ANSWER, Kind::REFUSED, nullptr,
         "the cloud refused the activation", SEE_SERVER},
        {'E', "Fail to get JWT", "", Step::APP_ANSWER, Kind::REFUSED, nullptr,
         "the cloud refused the app token", SEE_SERVER},
        {'I', "before send", "", Step::START, Kind::NORMAL, [](auto& r, Text) { r.Send(); }},
        {'I', "after send", "", Step::START, Kind::NORMAL, [](auto& r, Text) { r.TakeAnswer(); }},
        {'\0', "{", "", Step::START, Kind::NORMAL, [](auto& r, Text) { r.TakeBody(); }},
        {'\0', "", "WriteCallback", Step::START, Kind::NORMAL, [](auto& r, Text) { r.TakeBody(); }},
        {'E', "request failed", "", Step::TOKEN, Kind::NO_ANSWER, [](auto& r, Text) { r.Locate(); },
         "no whole answer came",
         "look at the network, the server's name and certificate, and the set's clock"},
        {'E', "fail to Initalize Nxcurl", "", Step::TOKEN, Kind::FAILURE, nullptr,
         "the HTTP client did not start", "see the set's memory and HTTP client"},
        {'E', "fail to get Tizen version", "", Step::TOKEN, Kind::FAILURE, nullptr,
         "the set does not tell its model, a version or its Tizen ID", "see the set's system information"},
        {'I', "Get SYSTEM_INFO_KEY_MODEL", "", Step::TOKEN, Kind::NORMAL,
         [](auto& r, Text) { r.run.subject = "its model"; }},
        {'I', "Get SYSTEM_INFO_KEY_SW_VERSION", "", Step::TOKEN, Kind::NORMAL,
         [](auto& r, Text) { r.run.subject = "its software's version"; }},
        {'I', "Get SYSTEM_INFO_KEY_TIZEN_VERSION", "", Step::TOKEN, Kind::NORMAL,
         [](auto& r, Text) { r.run.subject = "its Tizen version"; }},
        {'I', "Get Tizen ID", "", Step::TOKEN, Kind::NORMAL,
         [](auto& r, Text) { r.run.subject = "its Tizen ID"; }},
        {'E', "fail to derive the cloud device id", "", Step::ASK_ACTIVATION, Kind::FAILURE, nullptr,
         "the crypto library failed", "see the set's memory and crypto library"},
        {'E', "CKMC error, fail to remove previous data", "", Step::TOKEN, Kind::NOT_STORED, nullptr,
         "the key manager could not replace a record", SEE_KEY_MANAGER},
        {'E', "CKMC error, fail to write new data", "", Step::TOKEN, Kind::NOT_STORED, nullptr,
         "the key manager could not store a record", SEE_KEY_MANAGER},
        {'E', "fail to parse JSON: ", "", Step::TOKEN, Kind::UNREADABLE, nullptr,
         "an answer, or the stored device list, is not JSON",
         "where the list's step had begun (`user : ` at I), clear the device list; otherwise see the server"},
        {'E', "Type is not convertible to string", "", Step::TOKEN, Kind::UNREADABLE, nullptr,
         "an answer, or what is stored, has a value of another kind where a text is needed",
         "see the server; a factory reset clears what is stored"},
        {'E', "Value is not convertible to ", "", Step::TOKEN, Kind::UNREADABLE, nullptr,
         "an answer, or what is stored, has a value of another kind where a text or a number is needed",
         "see the server; a factory reset clears what is stored"},
        {'E', "exception: CKMC error", "", Step::ASK_DOWNLOAD, Kind::LIVED_WITH,
         [](auto& r, Text) {
             r.TakeAll("since the stored records are missing or refused by the key manager");
         },
         "the stored records are missing (as on a first run) or refused by the key manager: "
         "everything is downloaded"},
        {'E', "exception: ", "", Step::ASK_DOWNLOAD, Kind::LIVED_WITH,
         [](auto& r, Text) { r.TakeAll("since the stored records are damaged"); },
         "the stored records are damaged: everything is downloaded"},
        {'E', "fail to get json info.", "", Step::ASK_DOWNLOAD, Kind::LIVED_WITH,
         [](auto& r, Text) { r.TakeAll("since the stored mark cannot be read"); },
         "the stored mark cannot be read: everything is downloaded"},
        {'I', "last synced timestamp : ", "", Step::ASK_DOWNLOAD, Kind::NORMAL,
         [](auto& r, Text rest) { r.run.mark = FirstNumber(rest); }},
        {'E', "error code : ", "", Step::DOWNLOAD_ANSWER, Kind::NORMAL,
         [](auto& r, Text rest) { r.TakeStatus(Run::DOWNLOAD, rest); },
         "the status of the download; 200 is success in spite of the word and the priority"},
        {'E', "", "DownSyncBtInfoFromCloud", Step::DOWNLOAD_ANSWER, Kind::NORMAL,
         [](auto& r, Text) { r.TakeBody(); }},
        {'E', "HTTP error", "", Step::DOWNLOAD_ANSWER, Kind::REFUSED, nullptr, "the download was refused",
         "see the answer's `rcode`, logged just before: after 4009100 and 4000002 the stored records were "
         "dropped and the next run downloads everything"},
        {'E', "fail to parse the records: ", "", Step::DOWNLOAD_ANSWER, Kind::UNREADABLE, nullptr,
         "the download's `records` are no array; nothing was taken over", "see the server"},
        {'E', "skip ", "", Step::LIST, Kind::LIVED_WITH,
         [](auto& r, Text rest) { r.run.devices.TakeSkipped(static_cast<std::size_t>(FirstNumber(rest))); },
         "so many records are malformed: they are stored, where they have an id, but not listed; "
         "positions count from 0",
         "mend the malformed records in the cloud"},
        {'I', "data:", "", Step::LIST, Kind::NORMAL, [](auto& r, Text) { r.TakeBatch(); }},
        {'E', "the device list is no object, make it anew", "", Step::LIST, Kind::LIVED_WITH, nullptr,
         "the stored device list was damaged: it is made anew"},
        {'E', "the device list has ", "", Step::LIST, Kind::LIVED_WITH, nullptr,
         "the stored device list was too big to be read: it is made anew"},
        {'E', "the records are too heavy, the next run downloads them anew: ", "", Step::LIST, Kind::FAILURE,
         nullptr, "what came is more than can be kept beside the rest; the device list stays as it was",
         "nothing, unless the next run says so too: the users of the set have too many devices"},
        {'I', "user : ", "", Step::LIST, Kind::NORMAL, [](auto& r, Text rest) { r.run.user = rest; }, ""},
        {'I', "record_id : ", "", Step::LIST, Kind::NORMAL,
         [](auto& r, Text rest) { r.run.devices.Begin(rest); }},
        {'I', "input : ", "", Step::LIST, Kind::NORMAL,
         [](auto& r, Text rest) { r.run.devices.TakeServices(rest); }},
        {'W', "fail to get info", "", Step::LIST, Kind::NORMAL, nullptr,
         "the Bluetooth adapter does not know a device: it is not paired"},
        {'I', "already locally bonded device", "", Step::LIST, Kind::NORMAL,
         [](auto& r, Text) { r.run.devices.Decide(Listing::PAIRED); }},
        {'I', "already exist records, add user id only.", "", Step::LIST, Kind::NORMAL,
         [](auto& r, Text) { r.run.devices.Decide(Listing::UPDATED); }},
        {'I', "new data. add it", "", Step::LIST, Kind::NORMAL,
         [](auto& r, Text) { r.run.devices.Decide(Listing::ADDED); }},
        {'I', "", "RemoveFromDeviceList", Step::LIST, Kind::NORMAL,
         [](auto& r, Text rest) { r.run.devices.TakeRemoval(rest); }},
        {'I', "{", "UpdateDeviceList", Step::LIST, Kind::NORMAL, [](auto& r, Text) { r.TakeList(); }, ""},
        {'I', "null", "UpdateDeviceList", Step::LIST, Kind::NORMAL, [](auto& r, Text) { r.TakeList(); }, ""},
    };
}

}  // namespace

const std::vector<KnownLine>& KnownLines() {
    static const std::vector<KnownLine> table = MakeTable();
    return table;
}

Text WithoutCatch(Text message) {
    for (const Text start : {"exception : ", "Exception : "}) {
        if (Cli::StartsWith(message, start)) {
            message.remove_prefix(start.size());
        }
    }
    return message;
}

const KnownLine* FindKnownLine(const Line& line) {
    constexpr std::size_t LONGEST = 1000;
    const Text cause = WithoutCatch(line.message);
    const char plain = line.message.empty() ? '\0' : line.message.front();
    const char caught = cause.empty() ? '\0' : cause.front();
    const KnownLine* found = nullptr;
    std::size_t best = 0;
    for (const KnownLine& known : KnownLines()) {
        if (!known.start.empty() && known.start.front() != plain && known.start.front() != caught) {
            continue;
        }
        const bool isOfPlace = !known.place.empty();
        if ((known.priority != '\0' && line.priority != '\0' && known.priority != line.priority) ||
            (isOfPlace && known.place != line.file && known.place != line.function)) {
            continue;
        }
        const bool fits = Cli::StartsWith(line.message, known.start) ||
                          (known.kind > KnownLine::Kind::LIVED_WITH && Cli::StartsWith(cause, known.start));
        const std::size_t rank = 2 * known.start.size() + (!isOfPlace            ? 2
                                                           : known.start.empty() ? 1
                                                                                 : LONGEST);
        if (fits && rank > best) {
            found = &known;
            best = rank;
        }
    }
    return found;
}

std::string TableText() {
    std::string text(TABLE_HEAD);
    std::string cells;
    for (const KnownLine& known : KnownLines()) {
        if (known.meaning.empty()) {
            continue;
        }
        const std::string line =
            "`" + known.start + "`" + (known.place.empty() ? "" : " in `" + std::string(known.place) + "`");
        const std::string before = std::exchange(
            cells, " | " + std::string(known.meaning) + " | " + std::string(known.remedy) + " |\n");
        if (cells == before) {
            text.insert(text.size() - cells.size(), ", " + line);
        } else {
            text.append("| ").append(line).append(cells);
        }
    }
    return text;
}

}  // namespace Log
