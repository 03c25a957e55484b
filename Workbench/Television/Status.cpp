#include "Television/Status.h"

#include <algorithm>
#include <set>

#include "Cli/Json.h"
#include "Cli/Text.h"
#include "Cli/Time.h"
#include "Television/CloudFolder.h"
#include "Television/IniFile.h"
#include "Television/KeptRun.h"
#include "Television/Stored.h"
#include "TvFolder.h"
#include "TvIni.h"
#include "Util/JsonUtil.h"
#include "Util/SecurityUtil.h"
#include "Util/SettingsUtil.h"

namespace Television {

namespace {

constexpr std::int64_t MILLISECONDS = 1000;

/** What is stored, by the name that people know it by. */
struct Stored {
    Document tokens = ReadKey(InfoSyncUtil::ALIAS_ACCESS_TOKEN);
    Document activation = ReadKey(InfoSyncUtil::ALIAS_SERVICE_ACTIVATION_INFO);
    Document applicationToken = ReadKey(InfoSyncUtil::ALIAS_JWT);
    Document records = ReadKey(InfoSyncUtil::ALIAS_RECORDS);
    Document authCode = ReadAuthCode();
    Document devices = ReadSetting(InfoSyncUtil::KEY_DEVICES);
};

Json::Value State(const char* name, const std::string& problem = "") {
    Json::Value state;
    state["state"] = name;
    if (!problem.empty()) {
        state["problem"] = problem;
    }
    return state;
}

Json::Value StateOf(const Document& document) {
    switch (document.condition) {
        case Document::Condition::MISSING:
            return State("none");
        case Document::Condition::DAMAGED:
            return State("damaged", document.problem);
        case Document::Condition::FORBIDDEN:
            return State("forbidden", document.problem);
        default:
            return State("stored");
    }
}

/** The state of something that is kept under the user's entry, when that alone decides it; otherwise null. */
Json::Value StateOfEntry(const Document& document, const std::string& user) {
    if (!document.IsReadable()) {
        return StateOf(document);
    }
    if (!document.value.isMember(user)) {
        return State("none");
    }
    return document.value[user].isObject() ? Json::Value()
                                           : State("damaged", "the user's entry is no object");
}

Json::Value Lifetime(bool valid, std::int64_t secondsLeft) {
    Json::Value state = State(valid ? "valid" : "expired");
    state["seconds_left"] = static_cast<Json::Int64>(secondsLeft);
    return state;
}

/** A token of the authorisation server: it holds up to and including its last second. */
Json::Value OAuthToken(const Stored& stored, const std::string& user, const std::string& name,
                       std::int64_t now, bool showSecrets) {
    Json::Value state = StateOfEntry(stored.tokens, user);
    if (!state.isNull()) {
        return state;
    }
    const Json::Value& entry = stored.tokens.value[user];
    if (!entry.isMember(name)) {
        return State("none");
    }
    const std::string token = Cli::TextMember(entry, name);
    if (token.empty()) {
        return State("damaged", "the token is no text");
    }
    const std::int64_t end = Cli::Sum(InfoSyncUtil::ToInt64(entry["issued_time_in_second"]),
                                      InfoSyncUtil::ToInt64(entry[name + "_expires_in"]));
    state = Lifetime(end >= now, Cli::Difference(end, now));
    state["token"] = showSecrets ? token : Cli::Abbreviate(token);
    return state;
}

Json::Value Activation(const Stored& stored, const std::string& user, std::int64_t now) {
    Json::Value state = StateOfEntry(stored.activation, user);
    if (state.isNull()) {
        const Json::Value& entry = stored.activation.value[user];
        const std::int64_t left =
            Cli::Difference(InfoSyncUtil::ToInt64(entry["expireTime"]), now * MILLISECONDS);
        state = Lifetime(left > 0, left / MILLISECONDS);
        state["device_id"] = Cli::TextMember(entry, "dvcId");
    }
    return state;
}

Json::Value ApplicationToken(const Stored& stored, const std::string& user, std::int64_t now,
                             bool showSecrets) {
    Json::Value state = StateOfEntry(stored.applicationToken, user);
    if (state.isNull()) {
        const Json::Value& entry = stored.applicationToken.value[user];
        const std::int64_t left = Cli::Difference(InfoSyncUtil::ToInt64(entry["tokenExpireTimeSec"]), now);
        const std::string token = Cli::TextMember(entry, "accessToken");
        state = Lifetime(left > 0, left);
        state["token"] = showSecrets ? token : Cli::Abbreviate(token);
    }
    return state;
}

Json::Value Records(const Stored& stored, const std::string& user) {
    Json::Value state = StateOfEntry(stored.records, user);
    if (state.isNull()) {
        const Json::Value& entry = stored.records.value[user];
        state = State("stored");
        state["count"] = entry["records"].isArray() ? entry["records"].size() : 0U;
        state["mark"] = static_cast<Json::Int64>(
            InfoSyncUtil::ToInt64(InfoSyncUtil::ObjectMember(entry, "meta")["synced_timestamp"]));
    }
    return state;
}

Json::Value Users(const Stored& stored, const std::string& signedIn, std::int64_t now, bool showSecrets) {
    std::set<std::string> names;
    for (const Document* document :
         {&stored.tokens, &stored.activation, &stored.applicationToken, &stored.records}) {
        for (const std::string& name : document->value.getMemberNames()) {
            names.insert(name);
        }
    }
    if (!signedIn.empty()) {
        names.insert(signedIn);
    }
    Json::Value users(Json::arrayValue);
    for (const std::string& name : names) {
        Json::Value user;
        user["user"] = name;
        user["signed_in"] = name == signedIn;
        user["access_token"] = OAuthToken(stored, name, "access_token", now, showSecrets);
        user["refresh_token"] = OAuthToken(stored, name, "refresh_token", now, showSecrets);
        user["activation"] = Activation(stored, name, now);
        user["application_token"] = ApplicationToken(stored, name, now, showSecrets);
        user["records"] = Records(stored, name);
        users.append(std::move(user));
    }
    return users;
}

Json::Value Entry(const char* subject, const Json::Value& value, const std::string& problem) {
    Json::Value entry;
    entry[subject] = value;
    entry["problem"] = problem;
    return entry;
}

/** The stored documents that cannot be read for that reason, each with the details. */
Json::Value Unreadable(const Stored& stored, Document::Condition reason) {
    const std::pair<const char*, const Document*> documents[] = {
        {InfoSyncUtil::ALIAS_ACCESS_TOKEN, &stored.tokens},
        {InfoSyncUtil::ALIAS_SERVICE_ACTIVATION_INFO, &stored.activation},
        {InfoSyncUtil::ALIAS_JWT, &stored.applicationToken},
        {InfoSyncUtil::ALIAS_RECORDS, &stored.records},
        {InfoSyncUtil::ALIAS_AUTH_CODE, &stored.authCode},
        {"devices", &stored.devices}};
    Json::Value unreadable(Json::arrayValue);
    for (const auto& [name, document] : documents) {
        if (document->condition == reason) {
            unreadable.append(Entry("document", name, document->problem));
        }
    }
    return unreadable;
}

}  // namespace

Json::Value Status(std::int64_t now, bool showSecrets) {
    constexpr std::int64_t SIGNED_IN = 1;
    const Stored stored;
    const auto ini = TvFolder::ReadIni();
    const bool isSignedIn = ini->Integer(TvKeys::SSO_STATE) == SIGNED_IN;
    const std::string login = ini->Text(TvKeys::LOGIN_ID).value_or("");
    Json::Value status;
    status["folder"] = TvFolder::Path();
    status["signed_in"] = isSignedIn;
    status["login_id"] = isSignedIn && !login.empty() ? Json::Value(login) : Json::Value();
    status["users"] = Users(stored, isSignedIn ? login : "", now, showSecrets);
    status["devices"] = StateOf(stored.devices);
    status["devices"]["count"] = stored.devices.value.size();
    status["authorisation_code"] = StateOf(stored.authCode);
    status["factory_reset_requested"] = SettingText(InfoSyncUtil::KEY_FACTORY_RESET_FLAG) == "1";
    status["damaged"] = Unreadable(stored, Document::Condition::DAMAGED);
    if (ini->IsDamaged()) {
        status["damaged"].append(Entry("document", "tv.ini", ini->Problem()));
    }
    status["forbidden"] = Unreadable(stored, Document::Condition::FORBIDDEN);
    status["warnings"] = Json::Value(Json::arrayValue);
    for (const IniProblem& problem : CheckIni()) {
        status["warnings"].append(Entry("line", Json::Value::UInt64{problem.line}, problem.words));
    }
    const Json::Value lastRun = ReadNewestRun();
    status["last_run"] = lastRun;
    if (lastRun.isObject() && lastRun["number"] == 0) {  // not even the folder can be read
        status["forbidden"].append(Entry("document", "runs", lastRun["reason"].asString()));
    }
    status["next_run"] = NextRun(status, now);
    const Connection connection = FindConnection();
    status["cloud"]["folder"] = connection.folder.empty() ? Json::Value() : Json::Value(connection.folder);
    status["cloud"]["answers"] = connection.answers;
    status["cloud"]["words"] = connection.words;
    return status;
}

}  // namespace Television
