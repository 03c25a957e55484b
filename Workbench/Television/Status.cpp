#include "Television/Status.h"

#include <glib.h>

#include <exception>
#include <map>
#include <set>

#include "AdapterDevices.h"
#include "AuthData/CAccessToken.h"
#include "AuthData/CDeviceInfo.h"
#include "AuthData/CJsonWebToken.h"
#include "AuthData/CServiceActivationInfo.h"
#include "CSsoManager.h"
#include "Cli/Json.h"
#include "Cli/Text.h"
#include "Cli/Time.h"
#include "Television/KeptRun.h"
#include "Television/Stored.h"
#include "TvFolder.h"
#include "TvIni.h"
#include "Util/BluetoothUtil.h"
#include "Util/JsonUtil.h"
#include "Util/SecurityUtil.h"
#include "Util/SettingsUtil.h"

namespace Television {

namespace {

using Kind = State::Kind;

constexpr std::int64_t MILLISECONDS = 1000;

/** What is stored, each under the name that the service has for it. */
struct Stored {
    Document tokens = ReadKey(InfoSyncUtil::ALIAS_ACCESS_TOKEN);
    Document activation = ReadKey(InfoSyncUtil::ALIAS_SERVICE_ACTIVATION_INFO);
    Document appToken = ReadKey(InfoSyncUtil::ALIAS_JWT);
    Document records = ReadKey(InfoSyncUtil::ALIAS_RECORDS);
    Document authCode = ReadAuthCode();
    Document devices = ReadSetting(InfoSyncUtil::KEY_DEVICES);
};

State Make(Kind kind, const std::string& problem = "") {
    return {kind, problem, 0, ""};
}

State StateOf(const Document& document) {
    constexpr Kind KINDS[] = {Kind::NONE, Kind::DAMAGED, Kind::FORBIDDEN, Kind::STORED};
    return Make(KINDS[static_cast<int>(document.condition)], document.problem);
}

/** The state of what is kept in the user's entry; STORED where the entry can be read. */
State StateOfEntry(const Document& document, const std::string& user) {
    if (!document.IsReadable()) {
        return StateOf(document);
    }
    return !document.value.isMember(user)    ? Make(Kind::NONE)
           : document.value[user].isObject() ? Make(Kind::STORED)
                                             : Make(Kind::DAMAGED, "the user's entry is no object");
}

/** Makes a stored one valid or expired, as the service has it. */
State WithLifetime(State state, bool isValid, std::int64_t end, std::int64_t now, std::string detail) {
    if (state.kind == Kind::STORED) {
        state = {isValid ? Kind::VALID : Kind::EXPIRED, "", Cli::Difference(end, now), std::move(detail)};
    }
    return state;
}

State OAuthToken(const Stored& stored, const std::string& user, const char* name, const char* lifetime,
                 bool isValid, std::int64_t now) {
    State state = StateOfEntry(stored.tokens, user);
    const Json::Value& entry = InfoSyncUtil::ObjectMember(stored.tokens.value, user);
    const std::string token = Cli::TextMember(entry, name);
    if (state.kind == Kind::STORED && token.empty()) {
        state = entry.isMember(name) ? Make(Kind::DAMAGED, "the token is no text") : Make(Kind::NONE);
    }
    const std::int64_t end = Cli::Sum(InfoSyncUtil::ToInt64(entry[CAccessToken::ISSUED_TIME]),
                                      InfoSyncUtil::ToInt64(entry[lifetime]));
    return WithLifetime(state, isValid, end, now, Cli::Abbreviate(token));
}

void ReadTokens(const Stored& stored, UserStatus& user, std::int64_t now) {
    CAccessToken token;
    token.Init(user.user);
    try {
        token.ReadFromSecureStorage();
    } catch (const std::exception&) {
        // As the service has it: what cannot be read is no token.
    }
    user.accessToken = OAuthToken(stored, user.user, CAccessToken::ACCESS_TOKEN,
                                  CAccessToken::ACCESS_TOKEN_LIFETIME, !token.IsTokenExpired(), now);
    user.refreshToken = OAuthToken(stored, user.user, CAccessToken::REFRESH_TOKEN,
                                   CAccessToken::REFRESH_TOKEN_LIFETIME, !token.IsRefreshTokenExpired(), now);
}

void ReadActivation(const Stored& stored, UserStatus& user, std::int64_t now) {
    CServiceActivationInfo activation;
    activation.Init(user.user);
    const Json::Value& entry = InfoSyncUtil::ObjectMember(stored.activation.value, user.user);
    const std::int64_t end = InfoSyncUtil::ToInt64(entry[CServiceActivationInfo::EXPIRE_TIME]) / MILLISECONDS;
    user.activation = WithLifetime(StateOfEntry(stored.activation, user.user), activation.IsValid(), end, now,
                                   Cli::TextMember(entry, CServiceActivationInfo::DEVICE_ID));
}

void ReadAppToken(const Stored& stored, UserStatus& user, std::int64_t now) {
    CJsonWebToken token;
    token.Init(user.user);
    const Json::Value& entry = InfoSyncUtil::ObjectMember(stored.appToken.value, user.user);
    user.appToken = WithLifetime(StateOfEntry(stored.appToken, user.user), token.IsValid(),
                                 InfoSyncUtil::ToInt64(entry[CJsonWebToken::EXPIRE_TIME]), now,
                                 Cli::Abbreviate(Cli::TextMember(entry, CJsonWebToken::TOKEN)));
}

UserStatus ReadUser(const Stored& stored, const std::string& name, const std::string& signedIn,
                    std::int64_t now) {
    UserStatus user;
    user.user = name;
    user.isSignedIn = name == signedIn;
    ReadTokens(stored, user, now);
    ReadActivation(stored, user, now);
    ReadAppToken(stored, user, now);
    user.records = StateOfEntry(stored.records, name);
    const Json::Value& entry = InfoSyncUtil::ObjectMember(stored.records.value, name);
    user.recordCount = entry[CDeviceInfo::RECORDS].isArray() ? entry[CDeviceInfo::RECORDS].size() : 0;
    user.mark = InfoSyncUtil::ToInt64(
        InfoSyncUtil::ObjectMember(entry, CDeviceInfo::META)[CDeviceInfo::SYNCED_TIMESTAMP]);
    return user;
}

std::vector<UserStatus> ReadUsers(const Stored& stored, const std::string& signedIn, std::int64_t now) {
    std::set<std::string> names;
    for (const Document* document : {&stored.tokens, &stored.activation, &stored.appToken, &stored.records}) {
        for (const std::string& name : document->value.getMemberNames()) {
            names.insert(name);
        }
    }
    if (!signedIn.empty()) {
        names.insert(signedIn);
    }
    std::vector<UserStatus> users;
    for (const std::string& name : names) {
        users.push_back(ReadUser(stored, name, signedIn, now));
    }
    return users;
}

void AddUnreadable(const Stored& stored, std::vector<Problem>& problems) {
    const std::pair<const char*, const Document*> documents[] = {
        {InfoSyncUtil::ALIAS_ACCESS_TOKEN, &stored.tokens},
        {InfoSyncUtil::ALIAS_SERVICE_ACTIVATION_INFO, &stored.activation},
        {InfoSyncUtil::ALIAS_JWT, &stored.appToken},
        {InfoSyncUtil::ALIAS_RECORDS, &stored.records},
        {InfoSyncUtil::ALIAS_AUTH_CODE, &stored.authCode},
        {"devices", &stored.devices}};
    for (const auto& [name, document] : documents) {
        if (!document->IsReadable()) {
            const bool isForbidden = document->condition == Document::Condition::FORBIDDEN;
            problems.push_back(
                {name, (isForbidden ? "not yours to read: " : "damaged: ") + document->problem, isForbidden});
        }
    }
}

std::vector<BluetoothDevice> ReadBluetooth(const Document& records) {
    std::map<std::string, std::string> names;
    for (const std::string& user : records.value.getMemberNames()) {
        for (const Json::Value& record :
             InfoSyncUtil::ObjectMember(records.value, user)[CDeviceInfo::RECORDS]) {
            const std::string address = Cli::TextMember(record, CDeviceInfo::ADDRESS);
            names[Cli::Taken(g_ascii_strup(address.c_str(), -1))] =
                Cli::TextMember(record, CDeviceInfo::NAME);
        }
    }
    BluetoothUtil::Initialize();
    std::vector<BluetoothDevice> devices;
    for (const auto& [address, isPaired] : AdapterDevices()) {
        devices.push_back({address, isPaired, names[address]});
    }
    return devices;
}

}  // namespace

std::string SignedInUser() {
    const auto ini = TvFolder::ReadIni();
    return CSsoManager().IsLoggedIn() ? ini->Text(TvKeys::LOGIN_ID).value_or("") : "";
}

Status ReadStatus(std::int64_t now) {
    const Stored stored;
    Status status;
    status.folder = TvFolder::Path();
    status.isSignedIn = CSsoManager().IsLoggedIn();
    status.loginId = SignedInUser();
    status.users = ReadUsers(stored, status.loginId, now);
    status.devices = StateOf(stored.devices);
    status.deviceCount = stored.devices.value.size();
    status.authCode = StateOf(stored.authCode);
    status.isFactoryResetRequested = InfoSyncUtil::GetFactoryResetFlag() == 1;
    status.bluetooth = ReadBluetooth(stored.records);
    status.cloud = Cloud::Find();
    status.lastRun = ReadNewestRun();
    status.nextRun = PlanNextRun(status, now);
    status.problems = FindProblems(now);
    AddUnreadable(stored, status.problems);
    if (status.lastRun && status.lastRun->number == 0) {  // not even the folder can be read
        status.problems.push_back({"runs", Cli::Join(status.lastRun->story.reason, "; "), true});
    }
    return status;
}

}  // namespace Television
