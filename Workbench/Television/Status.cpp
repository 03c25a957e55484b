#include "Television/Status.h"

#include <algorithm>
#include <set>

#include "Cli/Duration.h"
#include "Cli/Text.h"
#include "Television/Document.h"
#include "Television/LastRun.h"
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

/** The state of something that is kept under the user's entry, when that alone decides it; otherwise null. */
Json::Value StateOfEntry(const Document& document, const std::string& user) {
    if (document.IsDamaged()) {
        return State("damaged", document.problem);
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
    const std::string token = InfoSyncUtil::TextMember(entry, name);
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
        state["device_id"] = InfoSyncUtil::TextMember(entry, "dvcId");
    }
    return state;
}

Json::Value ApplicationToken(const Stored& stored, const std::string& user, std::int64_t now,
                             bool showSecrets) {
    Json::Value state = StateOfEntry(stored.applicationToken, user);
    if (state.isNull()) {
        const Json::Value& entry = stored.applicationToken.value[user];
        const std::int64_t left = Cli::Difference(InfoSyncUtil::ToInt64(entry["tokenExpireTimeSec"]), now);
        const std::string token = InfoSyncUtil::TextMember(entry, "accessToken");
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

/** The stored documents that cannot be read, each with the reason. */
Json::Value Damaged(const Stored& stored, const std::string& iniProblem) {
    Json::Value damaged(Json::arrayValue);
    const auto add = [&damaged](const std::string& name, const std::string& problem) {
        if (!problem.empty()) {
            Json::Value entry;
            entry["document"] = name;
            entry["problem"] = problem;
            damaged.append(std::move(entry));
        }
    };
    add("tv.ini", iniProblem);
    add(InfoSyncUtil::ALIAS_ACCESS_TOKEN, stored.tokens.problem);
    add(InfoSyncUtil::ALIAS_SERVICE_ACTIVATION_INFO, stored.activation.problem);
    add(InfoSyncUtil::ALIAS_JWT, stored.applicationToken.problem);
    add(InfoSyncUtil::ALIAS_RECORDS, stored.records.problem);
    add("devices", stored.devices.problem);
    return damaged;
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
    status["devices"] =
        stored.devices.IsDamaged() ? State("damaged", stored.devices.problem) : State("stored");
    status["devices"]["count"] = stored.devices.value.size();
    status["authorisation_code"] = State(HasKey(InfoSyncUtil::ALIAS_AUTH_CODE) ? "stored" : "none");
    status["factory_reset_requested"] = SettingText(InfoSyncUtil::KEY_FACTORY_RESET_FLAG) == "1";
    status["damaged"] = Damaged(stored, ini->Problem());
    status["last_run"] = ReadLastRun();
    return status;
}

}  // namespace Television
