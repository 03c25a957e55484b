#include "Television/Status.h"

#include <algorithm>
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

constexpr char ACCESS_TOKEN[] = "access token";
constexpr char REFRESH_TOKEN[] = "refresh token";
constexpr char ACTIVATION[] = "activation";
constexpr char APP_TOKEN[] = "application token";

/** What the service keeps of a user that runs out, and by what. */
struct Holding {
    const char* name;
    const char* alias;
    /** The members of a user's entry: what is sent, and when it ends, or how long after another one. */
    const char* sent;
    const char* end;
    const char* begin;
    std::int64_t perSecond;
    /** So many seconds before the end it no longer holds. */
    std::int64_t leastLeft;
};
constexpr Holding HOLDINGS[] = {
    {ACCESS_TOKEN, InfoSyncUtil::ALIAS_ACCESS_TOKEN, CAccessToken::ACCESS_TOKEN,
     CAccessToken::ACCESS_TOKEN_LIFETIME, CAccessToken::ISSUED_TIME, 1, 0},
    {REFRESH_TOKEN, InfoSyncUtil::ALIAS_ACCESS_TOKEN, CAccessToken::REFRESH_TOKEN,
     CAccessToken::REFRESH_TOKEN_LIFETIME, CAccessToken::ISSUED_TIME, 1, 0},
    {ACTIVATION, InfoSyncUtil::ALIAS_SERVICE_ACTIVATION_INFO, CServiceActivationInfo::DEVICE_ID,
     CServiceActivationInfo::EXPIRE_TIME, "", 1000, 1},
    {APP_TOKEN, InfoSyncUtil::ALIAS_JWT, CJsonWebToken::TOKEN, CJsonWebToken::EXPIRE_TIME, "", 1, 1}};

/** The documents of tokens and the activation, by their aliases. */
using Documents = std::map<std::string, Document>;

State ReadHolding(const Holding& holding, const Document& document, const std::string& user,
                  std::int64_t now) {
    if (document.state.kind != Kind::STORED || !document.value.isMember(user)) {
        return document.state.IsReadable() ? State() : document.state;
    }
    const Json::Value& entry = InfoSyncUtil::ObjectMember(document.value, user);
    const std::string sent = Cli::TextMember(entry, holding.sent);
    if (!entry.isObject() || (sent.empty() && entry.isMember(holding.sent))) {
        return {Kind::DAMAGED, "the user's entry is no object, or no text is in it"};
    }
    const auto number = [&entry](const char* name) { return InfoSyncUtil::ToInt64(entry[name]); };
    const std::int64_t end = Cli::Sum(number(holding.begin), number(holding.end) / holding.perSecond);
    const std::int64_t left = Cli::Difference(end, now);
    const Kind kind = left >= holding.leastLeft ? Kind::VALID : Kind::EXPIRED;
    return sent.empty() ? State() : State{kind, "", left, Cli::Abbreviate(sent)};
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
        for (const Holding& holding : HOLDINGS) {
            user.holdings[holding.name] = ReadHolding(holding, documents[holding.alias], name, now);
        }
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
void PlanFor(const UserStatus& user, Status& status) {
    const auto ask = [&status](const char* request, const std::string& why) {
        status.nextRequests.emplace_back(request);
        status.nextRun += (status.nextRun.empty() ? "" : ", ") + std::string(request) + " (" + why + ")";
    };
    const auto state = [&user](const char* name) {
        const auto found = user.holdings.find(name);
        return found == user.holdings.end() ? State() : found->second;
    };
    const State access = state(ACCESS_TOKEN);
    const State refresh = state(REFRESH_TOKEN);
    const std::string problem = WhyNoRefresh();
    if (access.kind != Kind::VALID && access.kind != Kind::EXPIRED) {
        ask("token", "access token: " + access.Words());
    } else if (refresh.kind != Kind::VALID) {
        ask("token", "refresh token: " + refresh.Words());
    } else if (access.kind == Kind::EXPIRED && !problem.empty()) {
        status.nextRun =
            "it fails: the access token ran out, and the sign-in document, which a refresh needs, "
            "cannot be used (" +
            problem + "). A new one comes when the refresh token has run out, in " +
            Cli::DurationText(refresh.secondsLeft) + ", or after infosync-tv factory-reset";
        return;
    } else if (access.kind == Kind::EXPIRED) {
        ask("refresh", "access token: " + access.Words());
    }
    for (const auto& [request, name] : {std::pair("activation", ACTIVATION), std::pair("app", APP_TOKEN)}) {
        if (state(name).kind != Kind::VALID) {
            ask(request, state(name).Words());
        }
    }
    ask("download",
        user.records.mark >= 1 ? "from mark " + std::to_string(user.records.mark) : "all records: no mark");
}

void PlanNextRun(Status& status) {
    if (status.loginId.empty()) {
        status.nextRun = "nothing: nobody is signed in; it waits " +
                         Cli::DurationText(std::int64_t{CBtInfoSync::SIGN_IN_WAIT_SECONDS}) +
                         " for that, then ends";
        return;
    }
    const auto user = std::find_if(status.users.begin(), status.users.end(), [&status](const UserStatus& of) {
        return of.user == status.loginId && !status.isFactoryResetRequested;
    });
    // After a factory reset nothing is stored.
    PlanFor(user == status.users.end() ? UserStatus() : *user, status);
}

}  // namespace

std::string SignedInUser() {
    const auto ini = TvFolder::ReadIni();
    return CSsoManager().IsLoggedIn() ? ini->Text(TvKeys::LOGIN_ID).value_or("") : "";
}

Status ReadStatus(std::int64_t now) {
    Documents documents;
    for (const Holding& holding : HOLDINGS) {
        documents[holding.alias] = ReadDocument(TvFolder::KeyPath(holding.alias));
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
    PlanNextRun(status);
    status.problems = FindProblems(now);
    documents[InfoSyncUtil::ALIAS_RECORDS].state = records.state;
    documents["devices"].state = status.devices.state;
    for (const auto& [name, document] : documents) {
        if (document.state.kind == Kind::DAMAGED) {
            status.problems.push_back({name, document.state.Complaint()});
        }
    }
    return status;
}

}  // namespace Television
