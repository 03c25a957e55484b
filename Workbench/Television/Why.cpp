#include "Television/Why.h"

#include <glib.h>
#include <sys/stat.h>

#include <algorithm>
#include <iterator>
#include <sstream>

#include "AuthData/CDeviceInfo.h"
#include "Cli/Json.h"
#include "Cli/Text.h"
#include "Cli/Time.h"
#include "Cli/Values.h"
#include "Television/KeptRun.h"
#include "Television/Log/Devices.h"
#include "Television/Status.h"
#include "Television/Stored.h"
#include "TvFolder.h"
#include "Util/BluetoothUtil.h"
#include "Util/SecurityUtil.h"

namespace Television {

namespace {

using Listed = Verdict::Listed;

std::string CaseFolded(const std::string& text) {
    const std::string valid = Cli::Taken(g_utf8_make_valid(text.data(), static_cast<gssize>(text.size())));
    return Cli::Taken(g_utf8_casefold(valid.c_str(), -1));
}

enum class Rule { LISTS, NO_SINK, PAIRED, DELETED, MALFORMED };

/** What the service does with the record. */
Rule RuleFor(const Json::Value& record) {
    if (!CDeviceInfo::IsUsable(record)) {
        return Rule::MALFORMED;
    }
    if (!record.isMember(CDeviceInfo::ADDRESS)) {
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

Reason ListedReason(Rule rule, const Verdict& of, const std::string& uuids, bool isSignedIn) {
    switch (rule) {
        case Rule::LISTS:
            return {"audio sink", "an audio sink that is not paired with the set"};
        case Rule::NO_SINK:
            return {"no audio sink",
                    "listed when it was one; now " + Log::NoSinkWords(uuids) + ". The entry stays as it is"};
        case Rule::PAIRED:
            return {"paired", "listed before it was paired with the set; the entry stays as it is"};
        case Rule::DELETED:
            return {"deleted", "deleted in the cloud; the next run " +
                                   (isSignedIn ? "takes it off: infosync-tv run"
                                               : "with " + of.user + " signed in takes it off")};
        default:
            return {"malformed",
                    "listed from an older record; in the one stored now, record_id, name, address or uuids "
                    "is no text. The entry stays as it is"};
    }
}

Reason UnlistedReason(Rule rule, const Verdict& of, const std::string& uuids, bool isSignedIn) {
    switch (rule) {
        case Rule::LISTS:
            if (of.listed == Listed::UNKNOWN) {
                return {"list unreadable",
                        "nothing is against it, but a run ends at a list that it cannot read: "
                        "infosync-tv factory-reset, then infosync-tv run"};
            }
            return isSignedIn ? Reason{"next run",
                                       "nothing is against it: the next run lists it: "
                                       "infosync-tv run"}
                              : Reason{"not signed in", "no run lists it until " + of.user +
                                                            " is signed in: infosync-tv sign-in " + of.user +
                                                            ", then infosync-tv run"};
        case Rule::NO_SINK:
            return {"no audio sink", Log::NoSinkWords(uuids)};
        case Rule::PAIRED:
            return {"paired",
                    "paired with the set, which knows it already. To see it listed: infosync-tv unbond " +
                        of.address + ", then infosync-tv run"};
        case Rule::DELETED:
            return {"deleted", "deleted in the cloud: its record has no address any more"};
        default:
            return {"malformed",
                    "record_id, name, address or uuids is no text: mend the record in the cloud"};
    }
}

Verdict Decide(const std::string& user, const Json::Value& record, const DeviceList& list,
               const std::string& signedIn) {
    const auto text = [&record](const char* name) { return Cli::TextMember(record, name); };
    const std::string uuids = text(CDeviceInfo::UUIDS);
    Verdict verdict;
    verdict.user = user;
    verdict.id = text(CDeviceInfo::RECORD_ID);
    verdict.name = text(CDeviceInfo::NAME);
    verdict.address = text(CDeviceInfo::ADDRESS);
    verdict.services = Log::ServicesOf(uuids);
    const auto entry = list.devices.find(verdict.id);
    verdict.listedFor = entry == list.devices.end() ? std::vector<std::string>() : entry->second.users;
    const auto& users = verdict.listedFor;
    const bool isListed = std::find(users.begin(), users.end(), user) != users.end();
    const bool isSignedIn = user == signedIn;
    verdict.listed = !list.problem.empty() ? Listed::UNKNOWN
                     : isListed            ? Listed::YES
                     : users.empty()       ? Listed::NO
                                           : Listed::OTHERS;
    const Reason reason =
        (isListed ? ListedReason : UnlistedReason)(RuleFor(record), verdict, uuids, isSignedIn);
    verdict.why = reason.why;
    verdict.words =
        std::string(isSignedIn ? "" : "belongs to " + user + ", who is not signed in; ") +
        (verdict.listed == Listed::UNKNOWN ? "the device list cannot be read; by the rules: " : "") +
        (verdict.listed == Listed::OTHERS
             ? "listed by the record of " + Cli::Join(users, ", ") + " only; for " + user + ": "
             : "") +
        reason.words;
    return verdict;
}

bool IsMeant(const std::string& device, const std::string& id, const std::string& name,
             const std::string& address) {
    const std::string folded = CaseFolded(device);
    return id == device || CaseFolded(address) == folded ||
           CaseFolded(name).find(folded) != std::string::npos;
}

/** When the records were stored last; 0 when there are none. */
std::int64_t RecordsTime() {
    struct stat status = {};
    const auto path = TvFolder::KeyPath(InfoSyncUtil::ALIAS_RECORDS);
    return stat(path.value().c_str(), &status) == 0 ? static_cast<std::int64_t>(status.st_mtime) : 0;
}

/** What the television knows of a device that no record is of. */
std::string TracesOf(const std::string& device, const DeviceList& list) {
    for (const auto& [id, entry] : list.devices) {
        if (IsMeant(device, id, entry.name, entry.address)) {
            return "It is on the device list for " + Cli::Join(entry.users, ", ") +
                   ", though no record that is stored is of it. ";
        }
    }
    std::string traces;
    const std::vector<KeptRun> runs = ReadKeptRuns();
    for (auto run = runs.rbegin(); run != runs.rend() && traces.empty(); ++run) {
        for (const Json::Value& change : run->changes) {
            const auto text = [&change](const char* name) { return Cli::TextMember(change, name); };
            if (IsMeant(device, text("id"), text("name"), text("address"))) {
                traces = "Run " + std::to_string(run->number) + " " + text("change") + " it" +
                         (text("change") == "removed" ? ": it was deleted in the cloud. " : ". ");
            }
        }
    }
    return traces + (BluetoothUtil::IsBondedDevice(device) ? "The set is paired with it. " : "");
}

/** Whole names of which the word may be a misspelling, or one of their words. */
std::string NearestNames(const std::string& device, const std::vector<UserRecords>& users) {
    std::vector<std::string> near;
    for (const UserRecords& user : users) {
        for (const Json::Value& record : user.records) {
            const std::string name = Cli::TextMember(record, CDeviceInfo::NAME);
            std::istringstream folded(CaseFolded(name));
            std::vector<std::string> words{std::istream_iterator<std::string>(folded), {}};
            words.push_back(folded.str());
            words.push_back(Cli::TextMember(record, CDeviceInfo::RECORD_ID));
            if (!Cli::Nearest(CaseFolded(device), words).empty()) {
                near.push_back(name);
            }
        }
    }
    constexpr std::size_t MOST_SHOWN = 3;
    near.resize(std::min(near.size(), MOST_SHOWN));
    return near.empty() ? "" : "Nearest: " + Cli::Join(near, ", ") + ". ";
}

/** @param hints sentences, each with a blank behind it */
std::string NotDownloaded(const Inquiry& inquiry, std::int64_t now, const std::string& hints) {
    const std::string last =
        inquiry.storedAt == 0
            ? "nothing was downloaded so far"
            : "the last download, " + Cli::DurationText(Cli::Difference(now, inquiry.storedAt)) + " ago, " +
                  (inquiry.mark > 0 ? "came to mark " + std::to_string(inquiry.mark) : "left no mark");
    return last + ". " + hints + "What the cloud has, the next run brings: infosync-tv run";
}

/** What holds for every device. */
std::vector<std::string> Notes(const std::string& user, const DeviceList& list) {
    std::vector<std::string> notes;
    const std::optional<KeptRun> lastRun = ReadNewestRun();
    if (lastRun && !lastRun->IsSuccess()) {
        notes.push_back("the last run: " + Log::OutcomeWords(lastRun->story) +
                        ". What it did: infosync-tv log | infosync-tv explain");
    }
    if (user.empty()) {
        notes.emplace_back("nobody is signed in, so no run changes the list: infosync-tv sign-in USER");
    }
    if (!BluetoothUtil::Initialize()) {
        notes.emplace_back(
            "Bluetooth does not start, so no run gets as far as the list: see [bluetooth] in tv.ini");
    }
    if (!list.problem.empty()) {
        notes.push_back(Cli::OneLine(list.problem));
    }
    return notes;
}

}  // namespace

Inquiry Inquire(const std::string& device, std::int64_t now) {
    const DeviceList list = ReadDeviceList();
    const std::vector<UserRecords> users = ReadRecords();
    Inquiry inquiry;
    inquiry.user = SignedInUser();
    inquiry.notes = Notes(inquiry.user, list);
    for (const UserRecords& user : users) {
        if (user.user == inquiry.user) {
            inquiry.mark = user.mark;
            inquiry.storedAt = RecordsTime();
        }
        if (!user.problem.empty()) {
            inquiry.notes.push_back("the records of " + user.user + " cannot be read: " + user.problem);
        }
        for (const Json::Value& record : user.records) {
            Verdict verdict = Decide(user.user, record, list, inquiry.user);
            if (device.empty() || IsMeant(device, verdict.id, verdict.name, verdict.address)) {
                inquiry.verdicts.push_back(std::move(verdict));
            }
        }
    }
    if (inquiry.verdicts.empty()) {
        inquiry.notes.push_back(
            (device.empty() ? "no record is stored; " : "no record of it is stored; ") +
            NotDownloaded(inquiry, now,
                          device.empty() ? "" : NearestNames(device, users) + TracesOf(device, list)));
    }
    return inquiry;
}

}  // namespace Television
