#include "Television/Status.h"

#include <exception>
#include <map>
#include <utility>

#include "AdapterDevices.h"
#include "AuthData/CAccessToken.h"
#include "AuthData/CAuthCode.h"
#include "AuthData/CJsonWebToken.h"
#include "AuthData/CServiceActivationInfo.h"
#include "CBtInfoSync.h"
#include "CSsoManager.h"
#include "Cli/Json.h"
#include "Cli/Masker.h"
#include "Cli/Text.h"
#include "Cli/Time.h"
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

/** The documents of tokens and the activation, by their aliases. */
using Documents = std::map<std::string, Document>;

/**
 * Of a user's entry, how long it holds.
 * @param member what the service sends of it
 * @param isValid as the service has it
 * @param secondsLeft by the entry
 */
State Until(const Document& document, const std::string& user, const char* member, bool isValid,
            std::int64_t secondsLeft) {
    const Json::Value& entry = InfoSyncUtil::ObjectMember(document.value, user);
    if (document.state.kind != Kind::STORED || !document.value.isMember(user)) {
        return document.state.IsReadable() ? State() : document.state;
    }
    const std::string text = Cli::TextMember(entry, member);
    if (!entry.isObject() || (text.empty() && entry.isMember(member))) {
        return {Kind::DAMAGED, "the user's entry is no object, or no text is in it"};
    }
    return text.empty()
               ? State()
               : State{isValid ? Kind::VALID : Kind::EXPIRED, "", secondsLeft, Cli::Abbreviate(text)};
}

void ReadTokens(const Document& document, UserStatus& user, std::int64_t now) {
    using Token = CAccessToken;
    Token token;
    token.Init(user.user);
    try {
        token.ReadFromSecureStorage();
    } catch (const std::exception&) {
        // As the service has it: what cannot be read is no token.
    }
    const Json::Value& entry = InfoSyncUtil::ObjectMember(document.value, user.user);
    const auto left = [&entry, now](const char* lifetime) {
        const std::int64_t issued = InfoSyncUtil::ToInt64(entry[Token::ISSUED_TIME]);
        return Cli::Difference(Cli::Sum(issued, InfoSyncUtil::ToInt64(entry[lifetime])), now);
    };
    user.accessToken = Until(document, user.user, Token::ACCESS_TOKEN, !token.IsTokenExpired(),
                             left(Token::ACCESS_TOKEN_LIFETIME));
    user.refreshToken = Until(document, user.user, Token::REFRESH_TOKEN, !token.IsRefreshTokenExpired(),
                              left(Token::REFRESH_TOKEN_LIFETIME));
}

/** @param unit of the time in the entry, in seconds @param member what the service sends of it */
template <typename Kept>
State ReadKept(const Document& document, const std::string& user, const char* member, std::int64_t perSecond,
               std::int64_t now) {
    Kept kept;
    kept.Init(user);
    const Json::Value& entry = InfoSyncUtil::ObjectMember(document.value, user);
    const std::int64_t end = InfoSyncUtil::ToInt64(entry[Kept::EXPIRE_TIME]) / perSecond;
    return Until(document, user, member, kept.IsValid(), Cli::Difference(end, now));
}

std::vector<UserStatus> ReadUsers(Documents& documents, const RecordStore& records,
                                  const std::string& signedIn, std::int64_t now) {
    std::map<std::string, UserStatus> users;
    for (const auto& [alias, document] : documents) {
        for (const std::string& name : document.value.getMemberNames()) {
            users[name] = {};
        }
    }
    for (const auto& [name, of] : records.users) {
        users[name].records = of;
    }
    if (!signedIn.empty()) {
        users[signedIn];
    }
    std::vector<UserStatus> list;
    list.reserve(users.size());
    for (auto& [name, user] : users) {
        user.user = name;
        ReadTokens(documents[InfoSyncUtil::ALIAS_ACCESS_TOKEN], user, now);
        user.activation =
            ReadKept<CServiceActivationInfo>(documents[InfoSyncUtil::ALIAS_SERVICE_ACTIVATION_INFO], name,
                                             CServiceActivationInfo::DEVICE_ID, MILLISECONDS, now);
        user.appToken =
            ReadKept<CJsonWebToken>(documents[InfoSyncUtil::ALIAS_JWT], name, CJsonWebToken::TOKEN, 1, now);
        if (!records.state.IsReadable()) {
            user.records.state = records.state;
        }
        list.push_back(std::move(user));
    }
    return list;
}

/** What the stored sign-in document lacks for a refresh; empty for nothing. */
std::string WhyNoRefresh() {
    CAuthCode code;
    try {
        code.Init();
        code.GetKapAuthDomain();
        code.GetKapApiDomain();
        return "";
    } catch (const std::exception& error) {
        return error.what();
    }
}

/** By the service's questions in their order. */
Plan PlanFor(const UserStatus& user) {
    Plan plan;
    const auto ask = [&plan](const char* request, const std::string& why) {
        plan.requests.emplace_back(request);
        plan.words += (plan.words.empty() ? "" : ", ") + plan.requests.back() + " (" + why + ")";
    };
    const bool hasToken = user.accessToken.kind == Kind::VALID || user.accessToken.kind == Kind::EXPIRED;
    if (!hasToken) {
        ask("token", "access token: " + user.accessToken.Words());
    } else if (user.refreshToken.kind != Kind::VALID) {
        ask("token", "refresh token: " + user.refreshToken.Words());
    } else if (user.accessToken.kind == Kind::EXPIRED) {
        const std::string problem = WhyNoRefresh();
        if (!problem.empty()) {
            return {{},
                    "it fails: the access token ran out, and the sign-in document, which a refresh needs, "
                    "cannot be used (" +
                        problem + "). A new one comes when the refresh token has run out, in " +
                        Cli::DurationText(user.refreshToken.secondsLeft) +
                        ", or after infosync-tv factory-reset"};
        }
        ask("refresh", "access token: " + user.accessToken.Words());
    }
    if (user.activation.kind != Kind::VALID) {
        ask("activation", user.activation.Words());
    }
    if (user.appToken.kind != Kind::VALID) {
        ask("app", user.appToken.Words());
    }
    ask("download",
        user.records.mark >= 1 ? "from mark " + std::to_string(user.records.mark) : "all records: no mark");
    return plan;
}

Plan PlanNextRun(const Status& status) {
    if (status.loginId.empty()) {
        const std::string wait = Cli::DurationText(std::int64_t{CBtInfoSync::SIGN_IN_WAIT_SECONDS});
        return {{}, "nothing: nobody is signed in; it waits " + wait + " for that, then ends"};
    }
    for (const UserStatus& user : status.users) {
        if (user.user == status.loginId && !status.isFactoryResetRequested) {
            return PlanFor(user);
        }
    }
    return PlanFor({});  // after a factory reset nothing is stored
}

}  // namespace

std::string SignedInUser() {
    const auto ini = TvFolder::ReadIni();
    return CSsoManager().IsLoggedIn() ? ini->Text(TvKeys::LOGIN_ID).value_or("") : "";
}

Status ReadStatus(std::int64_t now) {
    Documents documents;
    for (const char* alias : {InfoSyncUtil::ALIAS_ACCESS_TOKEN, InfoSyncUtil::ALIAS_SERVICE_ACTIVATION_INFO,
                              InfoSyncUtil::ALIAS_JWT}) {
        documents[alias] = ReadKey(alias);
    }
    const RecordStore records = ReadRecords();
    Status status;
    status.folder = TvFolder::Path();
    status.isSignedIn = CSsoManager().IsLoggedIn();
    status.loginId = SignedInUser();
    status.users = ReadUsers(documents, records, status.loginId, now);
    status.devices = ReadDeviceList();
    status.isFactoryResetRequested = InfoSyncUtil::GetFactoryResetFlag() == 1;
    BluetoothUtil::Initialize();
    status.bluetooth = AdapterDevices();
    status.cloud = Cloud::Find();
    status.lastRun = ReadNewestRun();
    status.nextRun = PlanNextRun(status);
    status.problems = FindProblems(now);
    documents[InfoSyncUtil::ALIAS_RECORDS].state = records.state;
    documents[InfoSyncUtil::ALIAS_AUTH_CODE] = ReadAuthCode();
    documents["devices"].state = status.devices.state;
    for (const auto& [name, document] : documents) {
        if (!document.state.IsReadable()) {
            status.problems.push_back(
                {name, document.state.Complaint(), document.state.kind == Kind::FORBIDDEN});
        }
    }
    if (!status.lastRun.isNull() && status.lastRun["number"].isNull()) {  // not even the folder can be read
        status.problems.push_back({"runs", status.lastRun["reason"][0].asString(), true});
    }
    return status;
}

}  // namespace Television
