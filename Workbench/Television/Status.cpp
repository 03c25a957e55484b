#include "Television/Status.h"

#include <algorithm>
#include <map>
#include <set>
#include <utility>

#include "AdapterDevices.h"
#include "AuthData/CAccessToken.h"
#include "AuthData/CJsonWebToken.h"
#include "AuthData/CServiceActivationInfo.h"
#include "CBtInfoSync.h"
#include "CSsoManager.h"
#include "Cli/Json.h"
#include "Cli/Masker.h"
#include "Cli/Text.h"
#include "Cli/Time.h"
#include "Television/IniFile.h"
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

using Cli::Colour;

constexpr std::size_t LABEL_WIDTH = 21;

/** What the service keeps of a user that runs out, and by what. */
struct Holding {
    State UserStatus::*state;
    /** In JSON and for people. */
    const char* member;
    const char* label;
    const char* alias;
    /** The members of a user's entry: what is sent, and when it ends, or how long after another one. */
    const char* sent;
    const char* end;
    const char* begin;
    std::int64_t perSecond;
};
constexpr Holding HOLDINGS[] = {
    {&UserStatus::accessToken, "access_token", "  access token", InfoSyncUtil::ALIAS_ACCESS_TOKEN,
     CAccessToken::ACCESS_TOKEN, CAccessToken::ACCESS_TOKEN_LIFETIME, CAccessToken::ISSUED_TIME, 1},
    {&UserStatus::refreshToken, "refresh_token", "  refresh token", InfoSyncUtil::ALIAS_ACCESS_TOKEN,
     CAccessToken::REFRESH_TOKEN, CAccessToken::REFRESH_TOKEN_LIFETIME, CAccessToken::ISSUED_TIME, 1},
    {&UserStatus::activation, "activation", "  activation", InfoSyncUtil::ALIAS_SERVICE_ACTIVATION_INFO,
     CServiceActivationInfo::DEVICE_ID, CServiceActivationInfo::EXPIRE_TIME, "", 1000},
    {&UserStatus::appToken, "application_token", "  application token", InfoSyncUtil::ALIAS_JWT,
     CJsonWebToken::TOKEN, CJsonWebToken::EXPIRE_TIME, "", 1}};

/** By alias: of what runs out, and of the records. */
using Documents = std::map<std::string, Document>;

State ReadHolding(const Holding& holding, const Document& document, const std::string& user,
                  std::int64_t now) {
    if (!document.value.isMember(user)) {
        return document.state.kind == STORED ? State() : document.state;
    }
    const Json::Value& entry = InfoSyncUtil::ObjectMember(document.value, user);
    const std::string sent = Cli::TextMember(entry, holding.sent);
    if (!entry.isObject() || (sent.empty() && entry.isMember(holding.sent))) {
        return {DAMAGED, "the user's entry is no object, or no text is in it"};
    }
    const auto number = [&entry](const char* name) { return InfoSyncUtil::ToInt64(entry[name]); };
    const std::int64_t end = Cli::Sum(number(holding.begin), number(holding.end) / holding.perSecond);
    const std::int64_t left = Cli::Difference(end, now);
    return sent.empty() ? State() : State{left > 0 ? VALID : EXPIRED, "", left, Cli::Abbreviate(sent)};
}

UserStatus ReadUser(Documents& documents, const std::string& name, std::int64_t now) {
    UserStatus user;
    user.user = name;
    for (const Holding& holding : HOLDINGS) {
        user.*holding.state = ReadHolding(holding, documents[holding.alias], name, now);
    }
    user.records = RecordsOf(documents[InfoSyncUtil::ALIAS_RECORDS], name);
    return user;
}

/** Of all of whom something is stored, with what is wrong in that; and what the next run will ask for. */
void AddUsers(Status& status, std::int64_t now) {
    Documents documents;
    std::set<std::string> users;
    for (const char* alias : {InfoSyncUtil::ALIAS_ACCESS_TOKEN, InfoSyncUtil::ALIAS_JWT,
                              InfoSyncUtil::ALIAS_RECORDS, InfoSyncUtil::ALIAS_SERVICE_ACTIVATION_INFO}) {
        const Document& document = documents[alias] = ReadKey(alias);
        const std::vector<std::string> names = document.value.getMemberNames();
        users.insert(names.begin(), names.end());
        AddProblem(status.problems, alias, document.state.kind == DAMAGED ? document.state.Complaint() : "");
    }
    if (status.loginId.empty()) {
        status.nextRun.words = "nothing: nobody is signed in; it waits " +
                               Cli::DurationText(std::int64_t{CBtInfoSync::SIGN_IN_WAIT_SECONDS}) +
                               " for that, then ends";
    } else {
        users.insert(status.loginId);
        // After a factory reset nothing is stored.
        Documents none;
        status.nextRun = PlanFor(ReadUser(status.isResetRequested ? none : documents, status.loginId, now),
                                 !status.isResetRequested);
    }
    for (const std::string& user : users) {
        status.users.push_back(ReadUser(documents, user, now));
    }
}

Json::Value Counted(const State& state, std::uint64_t count) {
    Json::Value json = ToJson(state);
    json["count"] = Json::UInt64{count};
    return json;
}

Json::Value ToJson(const UserStatus& user) {
    Json::Value json;
    json["user"] = user.user;
    for (const Holding& holding : HOLDINGS) {
        json[holding.member] = ToJson(user.*holding.state);
    }
    json["records"] = Counted(user.records.state, user.records.records.size());
    json["records"]["mark"] = Json::Int64{user.records.mark};
    return json;
}

std::string Row(const std::string& label, const std::string& text, const Cli::Style& style) {
    return Cli::Pad(label, LABEL_WIDTH) + Cli::Wrap(text, LABEL_WIDTH, style.Width());
}

std::string StateText(const State& state, const Cli::Style& style) {
    const Colour colour = state.kind == VALID      ? Colour::GREEN
                          : state.kind == EXPIRED  ? Colour::YELLOW
                          : !state.problem.empty() ? Colour::RED
                                                   : Colour::PLAIN;
    return style(colour, state.Words()) +
           (state.begins.empty() ? "" : ", " + style(Colour::DIM, state.begins));
}

/** Of what is counted where it is stored. */
std::string CountText(const State& state, std::size_t count, const char* noun, const Cli::Style& style) {
    return state.kind == STORED ? Cli::Count(count, noun) : StateText(state, style);
}

std::string UserText(const UserStatus& user, bool isSignedIn, const Cli::Style& style) {
    std::string text =
        "\n" + style(Colour::BOLD, Cli::Escape(user.user)) + (isSignedIn ? " (signed in)" : "") + "\n";
    for (const Holding& holding : HOLDINGS) {
        text += Row(holding.label, StateText(user.*holding.state, style), style);
    }
    const auto& [state, mark, records] = user.records;
    const std::string next =
        mark > 0 ? ", mark of the last run " + std::to_string(mark) : ", no mark: the next run asks for all";
    return text + Row("  records",
                      CountText(state, records.size(), "record", style) + (state.kind == STORED ? next : ""),
                      style);
}

std::string Addresses(const std::map<std::string, bool>& bluetooth, bool arePaired) {
    std::vector<std::string> addresses;
    for (const auto& [address, isPaired] : bluetooth) {
        if (isPaired == arePaired) {
            addresses.push_back(address);
        }
    }
    return Cli::Escape(Cli::Join(addresses, ", "));
}

}  // namespace

std::string SignedInUser() {
    const auto ini = TvFolder::ReadIni();
    return CSsoManager().IsLoggedIn() ? ini->Text(TvKeys::LOGIN_ID).value_or("") : "";
}

Status ReadStatus(std::int64_t now) {
    Status status;
    status.folder = TvFolder::Path();
    status.isSignedIn = CSsoManager().IsLoggedIn();
    status.loginId = SignedInUser();
    status.list = ReadDeviceList();
    status.isResetRequested = InfoSyncUtil::GetFactoryResetFlag() == 1;
    BluetoothUtil::Initialize();
    status.bluetooth = AdapterDevices();
    status.cloud = Cloud::Find().words;
    status.lastRun = ReadNewestRun();
    status.problems = FindProblems(now);
    AddUsers(status, now);
    const State& list = status.list.state;
    AddProblem(status.problems, "devices", list.kind == DAMAGED ? list.Complaint() : "");
    return status;
}

Json::Value ToJson(const Status& status) {
    Json::Value json;
    json["folder"] = status.folder;
    json["signed_in"] = status.isSignedIn;
    json["login_id"] = Cli::TextOrNull(status.loginId);
    json["users"] = Cli::JsonArray(status.users, [](const UserStatus& user) { return ToJson(user); });
    json["devices"] = Counted(status.list.state, status.list.devices.size());
    json["factory_reset_requested"] = status.isResetRequested;
    json["bluetooth"] = Json::Value(Json::objectValue);
    for (const auto& [address, isPaired] : status.bluetooth) {
        json["bluetooth"][address] = isPaired ? "paired" : "known";
    }
    json["cloud"] = status.cloud;
    json["last_run"] = status.lastRun;
    json["next_run"]["requests"] = Cli::JsonArray(status.nextRun.requests);
    json["next_run"]["words"] = status.nextRun.words;
    json["problems"] = Cli::JsonArray(status.problems, [](const Problem& problem) {
        Json::Value of;
        of["subject"] = problem.subject;
        of["problem"] = problem.words;
        return of;
    });
    return json;
}

std::string StatusText(const Status& status, std::int64_t now, const Cli::Style& style) {
    // Of these, what is empty is left out.
    const std::pair<const char*, std::string> rows[] = {
        {"television", Cli::Escape(status.folder)},
        {"user", !status.isSignedIn       ? "nobody is signed in"
                 : status.loginId.empty() ? "signed in, without a login id"
                                          : Cli::Escape(status.loginId)},
        {"device list", CountText(status.list.state, status.list.devices.size(), "device", style)},
        {"factory reset", status.isResetRequested ? style(Colour::YELLOW, "at the next run") : ""},
        {"paired", Addresses(status.bluetooth, true)},
        {"known, not paired", Addresses(status.bluetooth, false)},
        {"cloud", Cli::Escape(status.cloud)},
        {"last run", status.lastRun.isNull() ? "none yet" : KeptRunWords(status.lastRun, now, style)},
        {"next run", Cli::Escape(status.nextRun.words)}};
    std::string all;
    for (const auto& [label, words] : rows) {
        all += words.empty() ? "" : Row(label, words, style);
    }
    for (const UserStatus& user : status.users) {
        all += UserText(user, user.user == status.loginId, style);
    }
    all += status.problems.empty() ? "" : "\n";
    for (const Problem& problem : status.problems) {
        all += style(Colour::RED, Cli::Escape(problem.subject) + ": ") +
               Cli::Wrap(Cli::EscapeLines(problem.words), 4, style.Width());
    }
    return all;
}

}  // namespace Television
