#include "Outside.h"

#include <algorithm>
#include <map>
#include <optional>

#include "FakePlatform.h"
#include "Util/JsonUtil.h"

/** The service's main, under the name that it has in this program. */
int InfoSyncMain();

namespace Outside {

namespace {

constexpr char TOKEN_ALIAS[] = "InfoSyncAccessToken";
constexpr char CODE_ALIAS[] = "InfoSyncAuthCode";
constexpr char RECORDS_ALIAS[] = "InfoSyncRecords";
constexpr char JWT_ALIAS[] = "InfoSyncJWT";
constexpr char ACTIVATION_ALIAS[] = "InfoSyncServiceActivationInfo";

constexpr char CODE[] =
    R"(<rsp stat="ok"><auth_code>code</auth_code><code_verifier>verifier</code_verifier>)"
    R"(<kap_auth_domain>auth.example</kap_auth_domain><kap_api_domain>api.example</kap_api_domain></rsp>)";
constexpr char ANSWERED_TOKEN[] =
    R"({"rsp":{"stat":"ok","result":{"access_token":"access","refresh_token":"refresh","userId":"uid",)"
    R"("access_token_expires_in":3600,"refresh_token_expires_in":7200}}})";
constexpr char ACTIVATION[] = R"({"rcode":0,"dvcId":"dvc","expireTime":5000000000000})";
constexpr char APP_TOKEN[] = R"({"rcode":0,"accessToken":"jwt","tokenExpireTimeSec":5000000000})";
/** What changed since the mark 7, and all that there is. */
constexpr char CHANGES[] =
    R"({"meta":{"synced_timestamp":9},"records":[{"address":"AA","name":"Pod","record_id":"pod",)"
    R"("uuids":"0000110b-0000-1000-8000-00805f9b34fb"},{"record_id":"gone"}]})";
constexpr char NOTHING_NEW[] = R"({"meta":{"synced_timestamp":9},"records":[]})";
constexpr char DISCARD[] = R"({"rcode":4009100})";
constexpr char RECORDS_BEFORE[] =
    R"({"meta":{"synced_timestamp":7},"records":[{"address":"AA","name":"Old","record_id":"pod",)"
    R"("uuids":"0000110b-0000-1000-8000-00805f9b34fb"}]})";
constexpr char LIST_BEFORE[] =
    R"({"gone":{"address":"G","deleted_on_tv":true,"name":"Gone","users":["user-0","user-1"]}})";
constexpr char LIST[] = R"({"gone":{"address":"G","deleted_on_tv":true,"name":"Gone","users":["user-0"]},)"
                        R"("pod":{"address":"AA","deleted_on_tv":false,"name":"Pod","users":["user-1"]}})";

std::string OfUsers(const std::string& entry) {
    return R"({"user-0":{"kept":[1]},"user-1":)" + entry + "}";
}

std::string Token(int lifetime, int refreshLifetime) {
    return OfUsers(TokenEntry(lifetime, refreshLifetime));
}

/** What an input is called, where it is stored, how many requests a run makes with a good one, and that one.
 */
struct Kind {
    const char* name;
    const char* alias;
    std::size_t requests;
    std::string good;
};

const Kind& Of(Input input) {
    static const Kind KINDS[INPUT_COUNT] = {
        {"token answer", nullptr, 4, ANSWERED_TOKEN},
        {"refresh answer", nullptr, 2, ANSWERED_TOKEN},
        {"activation answer", nullptr, 3, ACTIVATION},
        {"application token answer", nullptr, 2, APP_TOKEN},
        {"records answer", nullptr, 1, CHANGES},
        {"refusal", nullptr, 1, DISCARD},
        {"sign-in document", nullptr, 4, CODE},
        {"stored token", TOKEN_ALIAS, 1, Token(200, 300)},
        {"stored code", CODE_ALIAS, 2, CODE},
        {"stored records", RECORDS_ALIAS, 1, OfUsers(RECORDS_BEFORE)},
        {"stored application token", JWT_ALIAS, 1, OfUsers(APP_TOKEN)},
        {"stored activation", ACTIVATION_ALIAS, 1, OfUsers(ACTIVATION)},
        {"device list", nullptr, 1, LIST},
    };
    return KINDS[input];
}

bool Has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

std::string ToFirstNul(const std::string& text) {
    return text.substr(0, text.find('\0'));
}

std::string& List() {
    return Fake::Tv().textSettings[Fake::DEVICES_KEY];
}

/** Makes the request due whose answer the input is and those after it, and stores what is a stored one. */
void SetUp(Input input, const std::string& text) {
    Fake::Reset(Fake::Keep::ERRORS);
    const bool code = input == TOKEN_ANSWER || input == SIGN_IN_DOCUMENT;
    const bool refresh = input == REFRESH_ANSWER || input == STORED_CODE;
    const bool activation = code || input == ACTIVATION_ANSWER;
    const bool appToken = activation || input == APP_TOKEN_ANSWER;
    Fake::Tv().records = {{TOKEN_ALIAS, Token(code || refresh ? 99 : 200, code ? 99 : 300)},
                          {CODE_ALIAS, CODE},
                          {ACTIVATION_ALIAS, OfUsers(activation ? R"({"dvcId":"o"})" : ACTIVATION)},
                          {JWT_ALIAS, OfUsers(appToken ? R"({"accessToken":"o"})" : APP_TOKEN)},
                          {RECORDS_ALIAS, OfUsers(RECORDS_BEFORE)}};
    if (Of(input).alias != nullptr) {
        Fake::Tv().records[Of(input).alias] = text;
    }
    List() = input == DEVICE_LIST ? ToFirstNul(text) : LIST_BEFORE;
    Fake::Tv().authCodeAnswer = {SSO_TRUE, input == SIGN_IN_DOCUMENT ? text : CODE};
}

Input Asked(const std::string& url) {
    return Has(url, "/accesstoken")     ? TOKEN_ANSWER
           : Has(url, "/refreshtoken")  ? REFRESH_ANSWER
           : Has(url, "/activate")      ? ACTIVATION_ANSWER
           : Has(url, "/tokens/v1/app") ? APP_TOKEN_ANSWER
                                        : RECORDS_ANSWER;
}

/** A cloud that knows the marks that it gave out, or sends everything whatever the mark is. */
Fake::HttpAnswer GoodAnswer(const std::string& url, bool everything) {
    if (Asked(url) != RECORDS_ANSWER || everything || !Has(url, "changed_after") ||
        Has(url, "changed_after=7&")) {
        return {{Good(Asked(url))}};
    }
    return Has(url, "changed_after=9&") ? Fake::HttpAnswer{{NOTHING_NEW}} : Fake::HttpAnswer{{DISCARD}, 409};
}

/** @return what was wrong with the run itself */
std::string Run(const std::function<Fake::HttpAnswer(const std::string& url)>& cloud) {
    Fake::Serve([&cloud](const Fake::HttpRequest& request) { return cloud(request.url); });
    if (InfoSyncMain() != 0) {
        return "the exit status is not 0";
    }
    if (Fake::LoopWasLeftWaiting()) {
        return "the run does not end by itself";
    }
    return Fake::Log().back().message == "<<Not Error>>End main loop" ? "" : "the last line is another";
}

/** A new process, for which nothing is wrong but what earlier ones left. */
std::string GoodRun(bool everything = false) {
    const Fake::Television television = Fake::Tv();
    Fake::Reset(Fake::Keep::ERRORS);
    Fake::Tv() = television;
    Fake::Tv().authCodeAnswer = {SSO_TRUE, CODE};
    return Run([everything](const std::string& url) { return GoodAnswer(url, everything); });
}

bool Contains(const Json::Value& users, const char* user) {
    return users.isArray() && std::find(users.begin(), users.end(), Json::Value(user)) != users.end();
}

/** Whether the list is right as far as the good records go. */
bool IsListed() {
    Json::Value list;
    try {
        list = InfoSyncUtil::ParseStoredObject(List());
    } catch (const std::exception&) {
        return false;
    }
    const Json::Value& pod = InfoSyncUtil::ObjectMember(list, "pod");
    return pod["name"] == "Pod" && pod["address"] == "AA" && Contains(pod["users"], "user-1") &&
           !Contains(InfoSyncUtil::ObjectMember(list, "gone")["users"], "user-1");
}

/** What the document holds of other users, in one form; none when it cannot be read. */
std::optional<std::string> OfOthers(const std::string& text) {
    try {
        // Written once more, since writing alone replaces what is not UTF-8.
        Json::Value document = InfoSyncUtil::ParseStoredObject(ToFirstNul(text));
        document = InfoSyncUtil::ParseJson(InfoSyncUtil::WriteJson(document));
        if (document.isObject()) {
            document.removeMember(Fake::LOGIN_ID);
        }
        return document.empty() ? "{}" : InfoSyncUtil::WriteJson(document);
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

using Documents = std::map<std::string, std::optional<std::string>>;

/** @return the document that lost something of another user, if one did */
std::string LostOfOthers(const Documents& before) {
    for (const auto& [alias, text] : before) {
        const auto others = OfOthers(*text);
        const auto now = Fake::Tv().records.find(alias);
        if (alias != CODE_ALIAS && others &&
            (now == Fake::Tv().records.end() || OfOthers(now->second.value_or("")) != others)) {
            return "another user's entry is lost in " + alias;
        }
    }
    return "";
}

/** Whether the requests of the last run are those that an undamaged input leads to, and none from the start.
 */
bool AskedNoMoreThan(std::size_t count) {
    return Fake::HttpRequests().size() == count && Has(Fake::HttpRequests().back().url, "changed_after=");
}

/** One more good run if the list needs it, then those of a cloud that sends everything. */
Verdict Mend(Verdict verdict, std::string* wrong) {
    if (!IsListed()) {
        *wrong += GoodRun();
    }
    if (IsListed()) {
        return verdict;
    }
    for (int run = 0; run < 2 && !IsListed(); ++run) {
        *wrong += GoodRun(true);
    }
    if (IsListed()) {
        return LOST;
    }
    Fake::Tv().records[TOKEN_ALIAS] = Token(99, 99);
    *wrong += GoodRun(true);
    *wrong += IsListed() ? "" : "no good run makes the list again";
    return STUCK;
}

}  // namespace

std::string Name(Input input) {
    return Of(input).name;
}

std::string Good(Input input) {
    return Of(input).good;
}

std::string TokenEntry(int lifetime, int refreshLifetime) {
    return R"({"access_token":"old","refresh_token":"renew","userId":"uid",)"
           R"("issued_time_in_second":900,"access_token_expires_in":)" +
           std::to_string(lifetime) + R"(,"refresh_token_expires_in":)" + std::to_string(refreshLifetime) +
           "}";
}

Outcome Try(Input input, const std::string& text, long status, bool whole) {
    SetUp(input, text);
    const Documents before = Fake::Tv().records;
    Outcome outcome;
    outcome.wrong = Run([&](const std::string& url) {
        const bool refusal = input == REFUSAL && Asked(url) == RECORDS_ANSWER;
        return refusal               ? Fake::HttpAnswer{{text}, 409}
               : Asked(url) == input ? Fake::HttpAnswer{{text}, status, whole}
                                     : GoodAnswer(url, false);
    });
    const bool listed = IsListed();
    const bool others = listed && input != DEVICE_LIST && List() != LIST;
    bool anew = !AskedNoMoreThan(Of(input).requests);
    outcome.verdict = before == Fake::Tv().records ? REFUSED : STORED;
    if (input == DEVICE_LIST && !listed && List() != ToFirstNul(text)) {
        outcome.wrong += "a device list that is not JSON is written over";
    }
    List() = LIST_BEFORE;
    outcome.wrong += GoodRun();
    anew = anew || !AskedNoMoreThan(1);
    outcome.verdict = others ? LISTED_MORE : listed && anew ? ASKED_ANEW : listed ? TAKEN : outcome.verdict;
    outcome.wrong += LostOfOthers(before);
    outcome.verdict = Mend(outcome.verdict, &outcome.wrong);
    return outcome;
}

}  // namespace Outside
