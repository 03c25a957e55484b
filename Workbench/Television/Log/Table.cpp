#include "Television/Log/Table.h"

#include "Cli/Text.h"
#include "Util/CInfoSyncException.h"
#include "Util/SecurityUtil.h"

namespace Log {

namespace {

using Text = std::string_view;
using Kind = KnownLine::Kind;

constexpr char RESET[] = "factory reset: all that was stored is wiped";
constexpr Text UNREADABLE_RECORD =
    "what is stored of it is missing (as on a first run), damaged or refused by the key manager";
constexpr char NO_CODE[] = "the sign-in service gave no code; the process waits for one until it is stopped";
constexpr char RUN_OUT[] = "the stored one has run out";
constexpr char NONE_STORED[] = "none that can be used is stored for this user";
constexpr char STATUS[] = "the status of the answer; none is a failure by itself";
constexpr char SEE_STORED[] = "see the server; a factory reset clears what is stored";
constexpr char ASK_SIGN_IN[] = "sign out and in again; see the sign-in service's log";
constexpr char SEE_SERVER[] = "see the server: its answer is logged at I";
constexpr char SEE_KEY_MANAGER[] = "see the key manager: space, rights";

using Note = KnownLine::Note;

Note Does(void (Run::*take)()) {
    return [take](Run& r, Text) { (r.*take)(); };
}
Note Says(Part part, About about, const char* words) {
    return [part, about, words](Run& r, Text) { r.In(part).Say(about, words); };
}
Note Misses(const char* document) {
    return [document](Run& r, Text) { r.Miss(document); };
}
Note AsksToken(const char* source, const char* why) {
    return [source, why](Run& r, Text) { r.AskToken(source, why); };
}
Note Asks(Part request, const char* why = "") {
    return [request, why](Run& r, Text) { r.Ask(request, why); };
}
Note Answers(Part request) {
    return [request](Run& r, Text rest) { r.TakeStatus(request, rest); };
}
Note TakesAll(const char* why) {
    return [why](Run& r, Text) { r.TakeAll(why); };
}
Note Names(const char* subject) {
    return [subject](Run& r, Text) { r.subject = subject; };
}
Note Decides(Listing listing) {
    return [listing](Run& r, Text) { r.devices.Decide(listing); };
}

std::vector<KnownLine> MakeTable() {
    return {
        {'E', START_MESSAGE, "", Step::START, Kind::NORMAL, [](auto& r, Text) { r.sawStart = true; },
         "the process began"},
        {'E', END_MESSAGE, "", Step::END, Kind::NORMAL, [](auto& r, Text) { r.sawEnd = r.isOver = true; },
         "the process came to its end"},
        {'E', "<<Not Error>> Factory Reset Flag : ", "", Step::START, Kind::NORMAL,
         [](auto& r, Text rest) {
             r.In(Part::START).Say(About::WHETHER, FirstNumber(rest) == 1 ? RESET : "no factory reset");
         },
         "1 asks for a factory reset, 0 does not"},
        {'E', "Set Factory Reset Flag as 0", "", Step::START, Kind::NORMAL,
         Says(Part::START, About::WHETHER, RESET), "the factory reset is under way"},
        {'E', "<<Not Error>> Reset all datas", "", Step::START, Kind::NORMAL,
         Says(Part::START, About::WHETHER, RESET), "all that is stored is wiped"},
        {'E', "Fail to bt init", "", Step::START, Kind::FAILURE, nullptr, "the Bluetooth stack did not start",
         "see the set's Bluetooth service"},
        {'W', "Not logged in, try : ", "", Step::SIGN_IN, Kind::NORMAL,
         [](auto& r, Text rest) { r.TakeFailedCheck(FirstNumber(rest)); },
         "nobody was signed in at this check"},
        {'W', "Exit process", "", Step::SIGN_IN, Kind::FAILURE, nullptr,
         "nobody was signed in at any of the checks", "sign in, start the service again"},
        {'E', "fail sso_get_login_user_id", "", Step::SIGN_IN, Kind::FAILURE, nullptr,
         "the sign-in service names no user although somebody is signed in", ASK_SIGN_IN},
        {'E', "Fail to parse", "CAccessTokenManager.cpp", Step::STORED, Kind::LIVED_WITH,
         Misses("the access tokens are missing, damaged or refused by the key manager"), UNREADABLE_RECORD},
        {'E', "Fail to parse", "CJsonWebToken.cpp", Step::STORED, Kind::LIVED_WITH,
         Misses("the app tokens are missing, damaged or refused by the key manager"), UNREADABLE_RECORD},
        {'E', "Fail to parse", "CServiceActivationInfo.cpp", Step::STORED, Kind::LIVED_WITH,
         Misses("the activations are missing, damaged or refused by the key manager"), UNREADABLE_RECORD},
        {'E', "exception : CKMC error", "Init", Step::STORED, Kind::LIVED_WITH,
         Misses("the sign-in document is missing or refused by the key manager"),
         "the stored sign-in document is missing (as on a first run) or refused by the key manager"},
        {'E', "exception : ", "Init", Step::STORED, Kind::LIVED_WITH,
         Misses("the sign-in document is damaged"), "the stored sign-in document is damaged"},
        {'W', "null", "", Step::TOKEN, Kind::NORMAL, nullptr, "no access token is stored for this user"},
        {'W', CInfoSyncTokenNotExistException().what(), "", Step::TOKEN, Kind::NORMAL,
         AsksToken(NEW_TOKEN, "since none that can be used was stored for this user"),
         "no access token that can be used is stored for this user: a new one is asked for"},
        {'W', "Refresh Token Expired, need to issue new token", "", Step::TOKEN, Kind::NORMAL,
         AsksToken(NEW_TOKEN, "since the refresh token ran out"),
         "the refresh token has run out: a new token is asked for"},
        {'W', CInfoSyncTokenExpiredException().what(), "", Step::TOKEN, Kind::NORMAL,
         AsksToken(REFRESHED_TOKEN, "since the access token ran out"),
         "the access token has run out, the refresh token has not: it is refreshed"},
        {'I', "issuedTime ", "IsRefreshTokenExpired", Step::TOKEN, Kind::NORMAL,
         [](auto& r, Text rest) { r.TakeAccessClock(rest, true); }},
        {'I', "issuedTime ", "IsTokenExpired", Step::TOKEN, Kind::NORMAL,
         [](auto& r, Text rest) { r.TakeAccessClock(rest, false); }},
        {'I', "authCode : ", "OnAuthCodeIssued", Step::CODE, Kind::NORMAL, Does(&Run::TakeCode)},
        {'E', "result != SSO_TRUE", "", Step::CODE, Kind::FAILURE, nullptr, NO_CODE, ASK_SIGN_IN},
        {'E', "userData is authcode", "", Step::CODE, Kind::FAILURE, nullptr, NO_CODE, ASK_SIGN_IN},
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
        {'I', "key:code,", "", Step::ASK_TOKEN, Kind::NORMAL, AsksToken(NEW_TOKEN, "")},
        {'I', "key:refresh_token,", "", Step::ASK_TOKEN, Kind::NORMAL, AsksToken(REFRESHED_TOKEN, "")},
        {'E', "fail to get ", "", Step::TOKEN, Kind::LIVED_WITH, [](auto& r, Text rest) { r.subject = rest; },
         "the sign-in document, new or stored, lacks this element"},
        {'E', "fail to read", "", Step::TOKEN, Kind::FAILURE, nullptr,
         "the sign-in document, new or stored, lacks what a token is asked for with",
         "where a new code was asked for, sign out and in again; where the token was to be refreshed, "
         "a factory reset, or wait until the refresh token has run out"},
        {'E', "error code : ", "CAuthServerHttpMessage.cpp", Step::TOKEN_ANSWER, Kind::LIVED_WITH,
         Answers(Part::TOKEN), "the authorisation server answered with a code of its own"},
        {'E', "error", "", Step::TOKEN_ANSWER, Kind::REFUSED, nullptr,
         "the authorisation server refused with a code of its own", "see the server"},
        {'I', "accessToken : ", "", Step::TOKEN_ANSWER, Kind::NORMAL, Does(&Run::TakeBody), ""},
        {'E', "token is empty", "", Step::TOKEN_ANSWER, Kind::UNREADABLE, nullptr,
         "the authorisation server's answer is empty", "see the server"},
        {'E', "exception : fail to parse JSON: ", "CAccessTokenManager.cpp", Step::TOKEN_ANSWER,
         Kind::UNREADABLE, nullptr, "the authorisation server's answer is not JSON", "see the server"},
        {'E', "fail to get access Token", "", Step::TOKEN, Kind::FAILURE,
         [](auto& r, Text) { r.endedWithoutToken = true; }, "the run ended without an access token"},
        {'W', "No token", "CServiceActivationInfo.cpp", Step::ASK_ACTIVATION, Kind::NORMAL,
         Asks(Part::ACTIVATION, "since none that can be used was stored"), NONE_STORED},
        {'W', "No token", "CJsonWebToken.cpp", Step::ASK_APP, Kind::NORMAL,
         Asks(Part::APP, "since none that can be used was stored"), NONE_STORED},
        {'W', "Expired Token", "CServiceActivationInfo.cpp", Step::ASK_ACTIVATION, Kind::NORMAL,
         Asks(Part::ACTIVATION, "since the stored one ran out"), RUN_OUT},
        {'W', "Expired Token", "CJsonWebToken.cpp", Step::ASK_APP, Kind::NORMAL,
         Asks(Part::APP, "since the stored one ran out"), RUN_OUT},
        {'I', "expired time : ", "CServiceActivationInfo.cpp", Step::ASK_ACTIVATION, Kind::NORMAL,
         [](auto& r, Text rest) { r.TakeExpiry(Part::ACTIVATION, rest, 1000); }},
        {'I', "expired time : ", "CJsonWebToken.cpp", Step::ASK_APP, Kind::NORMAL,
         [](auto& r, Text rest) { r.TakeExpiry(Part::APP, rest, 1); }},
        {'I', "Already activated", "", Step::ASK_ACTIVATION, Kind::NORMAL,
         Says(Part::ACTIVATION, About::WHETHER, HOLDS)},
        {'I', "Already valid JWT exist", "", Step::ASK_APP, Kind::NORMAL,
         Says(Part::APP, About::WHETHER, HOLDS)},
        {'W', "Service is not acitivated", "", Step::ASK_ACTIVATION, Kind::NORMAL, Asks(Part::ACTIVATION),
         "it is asked for"},
        {'W', "JWT is not valid", "", Step::ASK_APP, Kind::NORMAL, Asks(Part::APP), "it is asked for"},
        {'I', "key:cdid,", "", Step::ASK_ACTIVATION, Kind::NORMAL, Asks(Part::ACTIVATION)},
        {'I', "key:x-kc-dvc-id,", "", Step::ASK_APP, Kind::NORMAL, Asks(Part::APP), ""},
        {'I', "key:Authorization,", "", Step::ASK_DOWNLOAD, Kind::NORMAL, Asks(Part::DOWNLOAD)},
        {'E', "status code : ", "CKCloudActivateHttpMessage.cpp", Step::ACTIVATION_ANSWER, Kind::NORMAL,
         Answers(Part::ACTIVATION), STATUS},
        {'E', "status code : ", "CKCloudAuthHttpMessage.cpp", Step::APP_ANSWER, Kind::NORMAL,
         Answers(Part::APP), STATUS},
        {'E', "Fail to activate", "", Step::ACTIVATION_ANSWER, Kind::REFUSED, nullptr,
         "the cloud refused the activation", SEE_SERVER},
        {'E', "Fail to get JWT", "", Step::APP_ANSWER, Kind::REFUSED, nullptr,
         "the cloud refused the app token", SEE_SERVER},
        {'I', "before send", "", Step::START, Kind::NORMAL, Does(&Run::Send)},
        {'I', "after send", "", Step::START, Kind::NORMAL, Does(&Run::TakeAnswer)},
        {'\0', "{", "", Step::START, Kind::NORMAL, Does(&Run::TakeBody)},
        {'\0', "", "WriteCallback", Step::START, Kind::NORMAL, Does(&Run::TakeBody)},
        {'E', "request failed", "", Step::TOKEN, Kind::NO_ANSWER, Does(&Run::Locate), "no whole answer came",
         "look at the network, the server's name and certificate, and the set's clock"},
        {'E', "fail to Initalize Nxcurl", "", Step::TOKEN, Kind::FAILURE, nullptr,
         "the HTTP client did not start", "see the set's memory and HTTP client"},
        {'E', "fail to get Tizen version", "", Step::TOKEN, Kind::FAILURE, nullptr,
         "the set does not tell its model, a version or its Tizen ID", "see the set's system information"},
        {'I', "Get SYSTEM_INFO_KEY_MODEL", "", Step::TOKEN, Kind::NORMAL, Names("its model")},
        {'I', "Get SYSTEM_INFO_KEY_SW_VERSION", "", Step::TOKEN, Kind::NORMAL,
         Names("its software's version")},
        {'I', "Get SYSTEM_INFO_KEY_TIZEN_VERSION", "", Step::TOKEN, Kind::NORMAL, Names("its Tizen version")},
        {'I', "Get Tizen ID", "", Step::TOKEN, Kind::NORMAL, Names("its Tizen ID")},
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
         "an answer, or what is stored, has a value of another kind where a text is needed", SEE_STORED},
        {'E', "in Json::Value::", "", Step::TOKEN, Kind::UNREADABLE, nullptr,
         "an answer, or what is stored, has a value of another kind where an object is needed", SEE_STORED},
        {'E', "Value is not convertible to ", "", Step::TOKEN, Kind::UNREADABLE, nullptr,
         "an answer, or what is stored, has a value of another kind where a text or a number is needed",
         SEE_STORED},
        {'E', "exception: CKMC error", "", Step::ASK_DOWNLOAD, Kind::LIVED_WITH,
         TakesAll("since the stored records are missing or refused by the key manager"),
         "the stored records are missing (as on a first run) or refused by the key manager: "
         "everything is downloaded"},
        {'E', "exception: ", "", Step::ASK_DOWNLOAD, Kind::LIVED_WITH,
         TakesAll("since the stored records are damaged"),
         "the stored records are damaged: everything is downloaded"},
        {'E', "fail to get json info.", "", Step::ASK_DOWNLOAD, Kind::LIVED_WITH,
         TakesAll("since the stored mark cannot be read"),
         "the stored mark cannot be read: everything is downloaded"},
        {'I', "last synced timestamp : ", "", Step::ASK_DOWNLOAD, Kind::NORMAL,
         [](auto& r, Text rest) { r.TakeMark(FirstNumber(rest)); }},
        {'E', "error code : ", "", Step::DOWNLOAD_ANSWER, Kind::NORMAL, Answers(Part::DOWNLOAD),
         "the status of the download; 200 is success in spite of the word and the priority"},
        {'E', "", "DownSyncBtInfoFromCloud", Step::DOWNLOAD_ANSWER, Kind::NORMAL, Does(&Run::TakeBody)},
        {'E', "HTTP error", "", Step::DOWNLOAD_ANSWER, Kind::REFUSED, nullptr, "the download was refused",
         "see the answer's `rcode`, logged just before: where the mark was too old or unknown, the stored "
         "records were dropped and the next run downloads everything"},
        {'E', "fail to parse the records: ", "", Step::DOWNLOAD_ANSWER, Kind::UNREADABLE, nullptr,
         "the download's `records` are no array; nothing was taken over", "see the server"},
        {'E', "skip ", "", Step::LIST, Kind::LIVED_WITH,
         [](auto& r, Text rest) { r.devices.TakeSkipped(static_cast<std::size_t>(FirstNumber(rest))); },
         "so many records are malformed: they are stored, where they have an id, but not listed; "
         "positions count from 0",
         "mend the malformed records in the cloud"},
        {'I', "data:", "", Step::LIST, Kind::NORMAL, Does(&Run::TakeBatch)},
        {'E', "the device list is no object, make it anew", "", Step::LIST, Kind::LIVED_WITH, nullptr,
         "the stored device list was damaged: it is made anew"},
        {'E', "the device list has ", "", Step::LIST, Kind::LIVED_WITH, nullptr,
         "the stored device list was too big to be read: it is made anew"},
        {'E', "the records are too heavy, the next run downloads them anew: ", "", Step::LIST, Kind::FAILURE,
         nullptr, "what came is more than can be kept beside the rest; the device list stays as it was",
         "nothing, unless the next run says so too: the users of the set have too many devices"},
        {'I', "user : ", "", Step::LIST, Kind::NORMAL, [](auto& r, Text rest) { r.user = rest; }, ""},
        {'I', "record_id : ", "", Step::LIST, Kind::NORMAL,
         [](auto& r, Text rest) { r.devices.Begin(rest); }},
        {'I', "input : ", "", Step::LIST, Kind::NORMAL,
         [](auto& r, Text rest) { r.devices.TakeServices(rest); }},
        {'W', "fail to get info", "", Step::LIST, Kind::NORMAL, nullptr,
         "the Bluetooth adapter does not know a device: it is not paired"},
        {'I', "already locally bonded device", "", Step::LIST, Kind::NORMAL, Decides(Listing::PAIRED)},
        {'I', "already exist records, add user id only.", "", Step::LIST, Kind::NORMAL,
         Decides(Listing::UPDATED)},
        {'I', "new data. add it", "", Step::LIST, Kind::NORMAL, Decides(Listing::ADDED)},
        {'I', "", "RemoveFromDeviceList", Step::LIST, Kind::NORMAL,
         [](auto& r, Text rest) { r.devices.TakeRemoval(rest); }},
        {'I', "{", "UpdateDeviceList", Step::LIST, Kind::NORMAL, Does(&Run::TakeList), ""},
        {'I', "null", "UpdateDeviceList", Step::LIST, Kind::NORMAL, Does(&Run::TakeList), ""},
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
            (isOfPlace && known.place != line.File() && known.place != line.Function())) {
            continue;
        }
        const bool fits = Cli::StartsWith(line.message, known.start) ||
                          (known.EndsRun() && Cli::StartsWith(cause, known.start));
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

}  // namespace Log
