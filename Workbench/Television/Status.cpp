#include "Television/Status.h"

#include <algorithm>
#include <exception>
#include <map>
#include <set>
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

constexpr char ACCESS_TOKEN[] = "access_token";
constexpr char REFRESH_TOKEN[] = "refresh_token";
constexpr char ACTIVATION[] = "activation";
constexpr char APP_TOKEN[] = "application_token";

/** What the service keeps of a user that runs out, and by what. */
struct Holding {
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
    {ACCESS_TOKEN, "  access token", InfoSyncUtil::ALIAS_ACCESS_TOKEN, CAccessToken::ACCESS_TOKEN,
     CAccessToken::ACCESS_TOKEN_LIFETIME, CAccessToken::ISSUED_TIME, 1},
    {REFRESH_TOKEN, "  refresh token", InfoSyncUtil::ALIAS_ACCESS_TOKEN, CAccessToken::REFRESH_TOKEN,
     CAccessToken::REFRESH_TOKEN_LIFETIME, CAccessToken::ISSUED_TIME, 1},
    {ACTIVATION, "  activation", InfoSyncUtil::ALIAS_SERVICE_ACTIVATION_INFO,
     CServiceActivationInfo::DEVICE_ID, CServiceActivationInfo::EXPIRE_TIME, "", 1000},
    {APP_TOKEN, "  application token", InfoSyncUtil::ALIAS_JWT, CJsonWebToken::TOKEN,
     CJsonWebToken::EXPIRE_TIME, "", 1}};

/** By alias: of what runs out, and of the records. */
using Documents = std::map<std::string, Document>;

State ReadHolding(const Holding& holding, const Document& document, const std::string& user,
                  std::int64_t now) {
    if (!document.value.isMember(user)) {
        return document.state["state"] == STORED ? MakeState(NONE) : document.state;
    }
    const Json::Value& entry = InfoSyncUtil::ObjectMember(document.value, user);
    const std::string sent = Cli::TextMember(entry, holding.sent);
    if (!entry.isObject() || (sent.empty() && entry.isMember(holding.sent))) {
        return MakeState(DAMAGED, "the user's entry is no object, or no text is in it");
    }
    const auto number = [&entry](const char* name) { return InfoSyncUtil::ToInt64(entry[name]); };
    const std::int64_t end = Cli::Sum(number(holding.begin), number(holding.end) / holding.perSecond);
    const std::int64_t left = Cli::Difference(end, now);
    State state = MakeState(left > 0 ? VALID : EXPIRED);
    state["seconds_left"] = Json::Int64{left};
    state["begins"] = Cli::Abbreviate(sent);
    return sent.empty() ? MakeState(NONE) : state;
}

/** What is stored of a user, as --json shows it. */
Json::Value ReadUser(Documents& documents, const std::string& name, std::int64_t now) {
    Json::Value user;
    user["user"] = name;
    for (const Holding& holding : HOLDINGS) {
        user[holding.member] = ReadHolding(holding, documents[holding.alias], name, now);
    }
    State& records = user["records"] = RecordsOf(documents[InfoSyncUtil::ALIAS_RECORDS], name);
    records["count"] = Json::UInt64{records["records"].size()};
    records.removeMember("records");
    return user;
}

/** Why the access token, which ran out, cannot be refreshed; empty where it can. */
std::string WhyNoRefresh(const State& refreshToken) {
    try {
        CAuthCode code;
        code.Init();
        code.GetKapAuthDomain();
        code.GetKapApiDomain();
        return "";
    } catch (const std::exception& error) {
        return "it fails: the access token ran out, and the sign-in document, which a refresh needs, cannot "
               "be "
               "used (" +
               std::string(error.what()) + "). A new one comes when the refresh token has run out, in " +
               Cli::DurationText(refreshToken["seconds_left"].asInt64()) +
               ", or after infosync-tv factory-reset";
    }
}

/** What the next run will ask for, by the service's questions in their order, and why. */
Json::Value PlanFor(const Json::Value& user) {
    Json::Value plan;
    Json::Value& requests = plan["requests"] = Json::Value(Json::arrayValue);
    std::vector<std::string> words;
    const auto ask = [&](const char* request, const std::string& why) {
        requests.append(request);
        words.push_back(std::string(request) + " (" + why + ")");
    };
    const State& access = user[ACCESS_TOKEN];
    const State& refresh = user[REFRESH_TOKEN];
    if (access["state"] != VALID && access["state"] != EXPIRED) {
        ask("token", "access token: " + StateWords(access));
    } else if (refresh["state"] != VALID) {
        ask("token", "refresh token: " + StateWords(refresh));
    } else if (access["state"] == EXPIRED) {
        const std::string problem = WhyNoRefresh(refresh);
        if (!problem.empty()) {
            plan["words"] = problem;
            return plan;
        }
        ask("refresh", "access token: " + StateWords(access));
    }
    for (const auto& [request, name] : {std::pair("activation", ACTIVATION), std::pair("app", APP_TOKEN)}) {
        if (user[name]["state"] != VALID) {
            ask(request, StateWords(user[name]));
        }
    }
    const std::int64_t mark = user["records"]["mark"].asInt64();
    ask("download", mark >= 1 ? "from mark " + std::to_string(mark) : "all records: no mark");
    plan["words"] = Cli::Join(words, ", ");
    return plan;
}

/** Of all of whom something is stored, with what is wrong in that; and what the next run will ask for. */
void AddUsers(Json::Value& status, std::int64_t now) {
    Documents documents;
    std::set<std::string> users;
    for (const char* alias : {InfoSyncUtil::ALIAS_ACCESS_TOKEN, InfoSyncUtil::ALIAS_JWT,
                              InfoSyncUtil::ALIAS_RECORDS, InfoSyncUtil::ALIAS_SERVICE_ACTIVATION_INFO}) {
        const Document& document = documents[alias] = ReadKey(alias);
        const std::vector<std::string> names = document.value.getMemberNames();
        users.insert(names.begin(), names.end());
        const bool isDamaged = document.state["state"] == DAMAGED;
        AddProblem(status["problems"], alias, isDamaged ? Complaint(document.state) : "");
    }
    const std::string signedIn = status["login_id"].asString();
    Json::Value& next = status["next_run"];
    if (signedIn.empty()) {
        next["requests"] = Json::Value(Json::arrayValue);
        next["words"] = "nothing: nobody is signed in; it waits " +
                        Cli::DurationText(std::int64_t{CBtInfoSync::SIGN_IN_WAIT_SECONDS}) +
                        " for that, then ends";
    } else {
        users.insert(signedIn);
        // After a factory reset nothing is stored.
        Documents none;
        const bool isToBeReset = status["factory_reset_requested"].asBool();
        next = PlanFor(ReadUser(isToBeReset ? none : documents, signedIn, now));
    }
    status["users"] =
        Cli::JsonArray(users, [&](const std::string& user) { return ReadUser(documents, user, now); });
}

std::string Row(const std::string& label, const std::string& text, const Cli::Style& style) {
    return Cli::Pad(label, LABEL_WIDTH) + Cli::Wrap(text, LABEL_WIDTH, style.Width());
}

std::string StateText(const State& state, const Cli::Style& style) {
    const std::string kind = state["state"].asString();
    const Colour colour = kind == VALID                          ? Colour::GREEN
                          : kind == EXPIRED                      ? Colour::YELLOW
                          : kind == DAMAGED || kind == FORBIDDEN ? Colour::RED
                                                                 : Colour::PLAIN;
    const std::string begins =
        state.isMember("begins") ? ", " + style(Colour::DIM, state["begins"].asString()) : "";
    return style(colour, StateWords(state)) + begins;
}

/** Of what is counted where it is stored. */
std::string CountText(const State& state, const char* noun, const Cli::Style& style) {
    return state["state"] == STORED ? Cli::Count(state["count"].asUInt64(), noun) : StateText(state, style);
}

std::string UserText(const Json::Value& user, bool isSignedIn, const Cli::Style& style) {
    std::string text = "\n" + style(Colour::BOLD, Cli::Escape(user["user"].asString())) +
                       (isSignedIn ? " (signed in)" : "") + "\n";
    for (const Holding& holding : HOLDINGS) {
        text += Row(holding.label, StateText(user[holding.member], style), style);
    }
    const State& records = user["records"];
    const std::int64_t mark = records["mark"].asInt64();
    const std::string next =
        mark > 0 ? ", mark of the last run " + std::to_string(mark) : ", no mark: the next run asks for all";
    return text + Row("  records",
                      CountText(records, "record", style) + (records["state"] == STORED ? next : ""), style);
}

std::string Addresses(const Json::Value& bluetooth, const char* kind) {
    std::vector<std::string> addresses = bluetooth.getMemberNames();
    const auto isOther = [&](const std::string& address) { return bluetooth[address] != kind; };
    addresses.erase(std::remove_if(addresses.begin(), addresses.end(), isOther), addresses.end());
    return Cli::Escape(Cli::Join(addresses, ", "));
}

}  // namespace

std::string SignedInUser() {
    const auto ini = TvFolder::ReadIni();
    return CSsoManager().IsLoggedIn() ? ini->Text(TvKeys::LOGIN_ID).value_or("") : "";
}

Json::Value ReadStatus(std::int64_t now) {
    const DeviceList list = ReadDeviceList();
    Json::Value status;
    status["folder"] = TvFolder::Path();
    status["signed_in"] = CSsoManager().IsLoggedIn();
    status["login_id"] = Cli::TextOrNull(SignedInUser());
    status["devices"] = list.state;
    status["devices"]["count"] = Json::UInt64{list.devices.size()};
    status["factory_reset_requested"] = InfoSyncUtil::GetFactoryResetFlag() == 1;
    BluetoothUtil::Initialize();
    status["bluetooth"] = Json::Value(Json::objectValue);
    for (const auto& [address, isPaired] : AdapterDevices()) {
        status["bluetooth"][address] = isPaired ? "paired" : "known";
    }
    status["cloud"] = Cloud::Find().words;
    status["last_run"] = ReadNewestRun();
    status["problems"] = FindProblems(now);
    AddUsers(status, now);
    const bool isDamaged = list.state["state"] == DAMAGED;
    AddProblem(status["problems"], "devices", isDamaged ? Complaint(list.state) : "");
    return status;
}

std::string StatusText(const Json::Value& status, std::int64_t now, const Cli::Style& style) {
    const auto text = [](const Json::Value& value) { return Cli::Escape(value.asString()); };
    const Json::Value& user = status["login_id"];
    const Json::Value& lastRun = status["last_run"];
    // Of these, what is empty is left out.
    const std::pair<const char*, std::string> rows[] = {
        {"television", text(status["folder"])},
        {"user", !status["signed_in"].asBool() ? "nobody is signed in"
                 : user.isNull()               ? "signed in, without a login id"
                                               : text(user)},
        {"device list", CountText(status["devices"], "device", style)},
        {"factory reset",
         status["factory_reset_requested"].asBool() ? style(Colour::YELLOW, "at the next run") : ""},
        {"paired", Addresses(status["bluetooth"], "paired")},
        {"known, not paired", Addresses(status["bluetooth"], "known")},
        {"cloud", text(status["cloud"])},
        {"last run", lastRun.isNull() ? "none yet" : KeptRunWords(lastRun, now, style)},
        {"next run", text(status["next_run"]["words"])}};
    std::string all;
    for (const auto& [label, words] : rows) {
        all += words.empty() ? "" : Row(label, words, style);
    }
    for (const Json::Value& of : status["users"]) {
        all += UserText(of, of["user"] == user, style);
    }
    all += status["problems"].empty() ? "" : "\n";
    for (const Json::Value& problem : status["problems"]) {
        all += style(Colour::RED, text(problem["subject"]) + ": ") +
               Cli::Wrap(Cli::EscapeLines(problem["problem"].asString()), 4, style.Width());
    }
    return all;
}

}  // namespace Television
