#include "Television/Why.h"

#include <glib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "AuthData/CDeviceInfo.h"
#include "Cli/Json.h"
#include "Cli/Text.h"
#include "Cli/Time.h"
#include "Television/KeptRun.h"
#include "Television/ServiceNames.h"
#include "TvFolder.h"
#include "TvIni.h"
#include "Util/BluetoothUtil.h"
#include "Util/CommonUtil.h"
#include "Util/SecurityUtil.h"

namespace Television {

namespace {

using Cli::Colour;

enum class Rule { LISTS, NO_SINK, PAIRED, DELETED, MALFORMED };

/** What the service does with the record. */
Rule RuleFor(const Json::Value& record) {
    if (!CDeviceInfo::IsUsable(record)) {
        return Rule::MALFORMED;
    }
    if (!record.isMember("address")) {
        return Rule::DELETED;
    }
    Json::Value list;
    CDeviceInfo().AddToDeviceList(list, record, "record", "user");
    return !list.isNull() ? Rule::LISTS : CDeviceInfo::IsAudioSink(record) ? Rule::PAIRED : Rule::NO_SINK;
}

struct Reason {
    const char* why;
    std::string words;
};

Reason ListedReason(Rule rule, const std::string& noSink) {
    switch (rule) {
        case Rule::LISTS:
            return {"audio sink", "an audio sink that is not paired with the set"};
        case Rule::NO_SINK:
            return {"no audio sink", "listed when it was one; now " + noSink + ". The entry stays as it is"};
        case Rule::PAIRED:
            return {"paired", "listed before it was paired with the set; the entry stays as it is"};
        case Rule::DELETED:
            return {"deleted", "deleted in the cloud; the next run takes it off: infosync-tv run"};
        default:
            return {"malformed",
                    "listed from an older record; in the one stored now, record_id, name, address or uuids "
                    "is no text. The entry stays as it is"};
    }
}

Reason UnlistedReason(Rule rule, const std::string& noSink, const std::string& address) {
    switch (rule) {
        case Rule::LISTS:
            return {"next run", "nothing is against it: the next run lists it: infosync-tv run"};
        case Rule::NO_SINK:
            return {"no audio sink", noSink};
        case Rule::PAIRED:
            return {"paired",
                    "paired with the set, which knows it already. To see it listed: infosync-tv unbond " +
                        address + ", then infosync-tv run"};
        case Rule::DELETED:
            return {"deleted", "deleted in the cloud: its record has no address any more"};
        default:
            return {"malformed",
                    "record_id, name, address or uuids is no text: mend the record in the cloud"};
    }
}

Json::Value Decide(const std::string& user, const Json::Value& record, const DeviceList& list) {
    const auto text = [&record](const char* name) { return Cli::TextMember(record, name); };
    const auto entry = list.devices.find(text("record_id"));
    const auto users = entry == list.devices.end() ? std::vector<std::string>() : entry->second.users;
    const bool isListed = std::find(users.begin(), users.end(), user) != users.end();
    const Rule rule = RuleFor(record);
    const std::string noSink = rule == Rule::NO_SINK ? NoSinkWords(text("uuids")) : "";
    Reason reason = isListed ? ListedReason(rule, noSink) : UnlistedReason(rule, noSink, text("address"));
    if (!isListed && !users.empty()) {
        reason.words =
            "listed by the record of " + Cli::Join(users, ", ") + " only; for " + user + ": " + reason.words;
    }
    if (!list.problem.empty()) {
        reason.words = "the device list cannot be read; by the rules: " + reason.words;
    }
    Json::Value verdict;
    verdict["user"] = user;
    verdict["id"] = text("record_id");
    verdict["name"] = text("name");
    verdict["address"] = text("address");
    verdict["services"] = Json::Value(Json::arrayValue);
    for (const std::string& uuid : CommonUtil::SplitString(text("uuids"))) {
        verdict["services"].append(ServiceName(uuid));
    }
    verdict["listed"] = list.problem.empty() ? Json::Value(isListed) : Json::Value();
    verdict["listed_for"] = Json::Value(Json::arrayValue);
    for (const std::string& other : users) {
        verdict["listed_for"].append(other);
    }
    verdict["why"] = reason.why;
    verdict["words"] = reason.words;
    return verdict;
}

std::string CaseFolded(const std::string& text) {
    const std::string valid = Cli::Taken(g_utf8_make_valid(text.data(), static_cast<gssize>(text.size())));
    return Cli::Taken(g_utf8_casefold(valid.c_str(), -1));
}

bool IsMeant(const std::string& device, const std::string& id, const std::string& name,
             const std::string& address) {
    const std::string folded = CaseFolded(device);
    return id == device || CaseFolded(address) == folded ||
           CaseFolded(name).find(folded) != std::string::npos;
}

std::string Ago(std::int64_t now, std::int64_t then) {
    return Cli::DurationText(Cli::Difference(now, then)) + " ago";
}

/** When the records were stored last; 0 when there are none. */
std::int64_t RecordsTime() {
    struct stat status = {};
    const auto path = TvFolder::KeyPath(InfoSyncUtil::ALIAS_RECORDS);
    return stat(path.value().c_str(), &status) == 0 ? static_cast<std::int64_t>(status.st_mtime) : 0;
}

/** The last kept run that changed the device's entry in the list, in words. */
std::string LastChange(const std::string& device) {
    const std::vector<Json::Value> runs = ReadKeptRuns();
    for (auto run = runs.rbegin(); run != runs.rend(); ++run) {
        for (const Json::Value& change : (*run)["changes"]) {
            const auto text = [&change](const char* name) { return Cli::TextMember(change, name); };
            if (IsMeant(device, text("id"), text("name"), text("address"))) {
                return "Run " + Cli::TextMember(*run, "number") + " " + text("change") + " it" +
                       (text("change") == "removed" ? ": it was deleted in the cloud. " : ". ");
            }
        }
    }
    return "";
}

/** What else the television knows of a device that no record is of. */
std::string TracesOf(const std::string& device, const DeviceList& list) {
    for (const auto& [id, entry] : list.devices) {
        if (IsMeant(device, id, entry.name, entry.address)) {
            return "It is on the device list for " + Cli::Join(entry.users, ", ") +
                   ", though no record that is stored is of it. ";
        }
    }
    BluetoothUtil::Initialize();
    return LastChange(device) + (BluetoothUtil::IsBondedDevice(device) ? "The set is paired with it. " : "");
}

std::string NotDownloaded(const Json::Value& inquiry, const std::string& device, const DeviceList& list,
                          std::int64_t now) {
    const std::int64_t storedAt = inquiry["stored_at"].asInt64();
    const std::string mark = inquiry["mark"].asString();
    const std::string last = storedAt == 0 ? "nothing was downloaded so far"
                             : mark != "0"
                                 ? "the last download, " + Ago(now, storedAt) + ", came to mark " + mark
                                 : "the last download was " + Ago(now, storedAt) + " and left no mark";
    return (device.empty() ? "no record is stored; " : "no record of it is stored; ") + last + ". " +
           (device.empty() ? "" : TracesOf(device, list)) +
           "What the cloud has, the next run brings: infosync-tv run";
}

/** What holds for every device. */
Json::Value Notes(const std::string& user, const DeviceList& list) {
    Json::Value notes(Json::arrayValue);
    const Json::Value lastRun = ReadNewestRun();
    if (!lastRun.isNull() && Cli::TextMember(lastRun, "outcome") != KindName(RunOutcome::Kind::SUCCESS)) {
        notes.append("the last run: " + Cli::TextMember(lastRun, "words") +
                     ". What it did: infosync-tv log | infosync-tv explain");
    }
    if (user.empty()) {
        notes.append("nobody is signed in, so no run changes the list: infosync-tv sign-in USER");
    }
    if (!BluetoothUtil::Initialize()) {
        notes.append(
            "Bluetooth does not start, so no run gets as far as the list: see [bluetooth] in tv.ini");
    }
    if (!list.problem.empty()) {
        std::string note = list.problem;
        const auto end = note.find('\n');
        notes.append(end == std::string::npos ? note : note.replace(end, 1, ". "));
    }
    return notes;
}

std::string SignedIn() {
    const auto ini = TvFolder::ReadIni();
    return ini->Integer(TvKeys::SSO_STATE) == 1 ? ini->Text(TvKeys::LOGIN_ID).value_or("") : "";
}

std::string VerdictText(const Json::Value& verdict, const std::string& signedIn, const Cli::Style& style) {
    const std::string listed = ListedWord(verdict);
    const std::string state = listed == "yes"      ? "listed"
                              : listed == "others" ? "listed for others"
                              : listed == "no"     ? "not listed"
                                                   : "not known";
    const auto text = [&verdict](const char* name) { return verdict[name].asString(); };
    std::string place;
    for (const std::string& part : {text("address"), "(" + text("id") + ")", state}) {
        place += part.empty() ? "" : "  " + Cli::Escape(part);
    }
    const std::size_t used = std::min(Cli::DisplayWidth(place), Cli::Style(STDOUT_FILENO).Width() / 2);
    const std::string head =
        Cli::Shorten(Cli::Escape(text("name")), Cli::Style(STDOUT_FILENO).Width() - used) + place;
    const std::string owner =
        text("user") == signedIn ? "" : "belongs to " + text("user") + ", who is not signed in; ";
    return style(listed == "yes" ? Colour::GREEN : Colour::YELLOW, head) + "\n    " +
           Cli::Wrap(Cli::Escape(owner + text("words")), 4, Cli::Style(STDOUT_FILENO).Width());
}

}  // namespace

Json::Value Judge(const UserRecords& user, const DeviceList& list) {
    BluetoothUtil::Initialize();
    Json::Value verdicts(Json::arrayValue);
    for (const Json::Value& record : user.records) {
        verdicts.append(Decide(user.user, record, list));
    }
    return verdicts;
}

std::string ListedWord(const Json::Value& verdict) {
    return verdict["listed"].isNull()      ? "?"
           : verdict["listed"].asBool()    ? "yes"
           : verdict["listed_for"].empty() ? "no"
                                           : "others";
}

Json::Value Inquire(const std::string& device, std::int64_t now) {
    const DeviceList list = ReadDeviceList();
    const std::string signedIn = SignedIn();
    Json::Value inquiry;
    inquiry["user"] = signedIn.empty() ? Json::Value() : Json::Value(signedIn);
    inquiry["mark"] = inquiry["stored_at"] = Json::Int64{0};
    inquiry["notes"] = Notes(signedIn, list);
    inquiry["devices"] = Json::Value(Json::arrayValue);
    for (const UserRecords& user : ReadRecords()) {
        if (user.user == signedIn) {
            inquiry["mark"] = Json::Int64{user.mark};
            inquiry["stored_at"] = Json::Int64{RecordsTime()};
        }
        if (!user.problem.empty()) {
            inquiry["notes"].append("the records of " + user.user + " cannot be read: " + user.problem);
        }
        for (const Json::Value& verdict : Judge(user, list)) {
            const auto text = [&verdict](const char* name) { return verdict[name].asString(); };
            if (device.empty() ? user.user == signedIn || signedIn.empty()
                               : IsMeant(device, text("id"), text("name"), text("address"))) {
                inquiry["devices"].append(verdict);
            }
        }
    }
    if (inquiry["devices"].empty()) {
        inquiry["notes"].append(NotDownloaded(inquiry, device, list, now));
    }
    return inquiry;
}

std::string InquiryText(const Json::Value& inquiry, const Cli::Style& style) {
    std::string text;
    for (const Json::Value& note : inquiry["notes"]) {
        text += Cli::Wrap(Cli::Escape(note.asString()), 0, Cli::Style(STDOUT_FILENO).Width());
    }
    for (const Json::Value& verdict : inquiry["devices"]) {
        text += VerdictText(verdict, inquiry["user"].asString(), style);
    }
    return text;
}

}  // namespace Television
