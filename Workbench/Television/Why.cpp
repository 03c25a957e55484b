#include "Television/Why.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "AuthData/CDeviceInfo.h"
#include "Cli/Json.h"
#include "Cli/Text.h"
#include "Television/KeptRun.h"
#include "Television/Log/Devices.h"
#include "Television/Log/Story.h"
#include "Television/Status.h"
#include "Television/Stored.h"
#include "Util/BluetoothUtil.h"
#include "Util/SecurityUtil.h"

namespace Television {

namespace {

/** Whether the service would put the record on a list that is empty. */
bool IsForList(const Json::Value& record) {
    Json::Value list;
    CDeviceInfo().AddToDeviceList(list, record, "record", "user");
    return !list.isNull();
}

/** In a few words and in sentences; what is listed already may stay so against it. */
std::pair<const char*, std::string> ReasonFor(const Json::Value& record, const std::string& user,
                                              bool isSignedIn, bool isListed, bool isListReadable) {
    const std::string stays = isListed ? ". It was listed before that, and stays so" : "";
    if (!CDeviceInfo::IsUsable(record)) {
        return {"malformed",
                "record_id, name, address or uuids is no text: mend the record in the cloud" + stays};
    }
    if (!record.isMember(CDeviceInfo::ADDRESS)) {
        const std::string run = isSignedIn ? "the next run" : "a run with " + user + " signed in";
        return {"deleted", "deleted in the cloud" + (isListed ? "; " + run + " takes it off"
                                                              : ": its record has no address any more")};
    }
    if (!CDeviceInfo::IsAudioSink(record)) {
        return {"no audio sink", Log::NoSinkWords(Cli::TextMember(record, CDeviceInfo::UUIDS)) + stays};
    }
    if (!IsForList(record)) {
        const std::string unbond = ". To see it listed: infosync-tv unbond " +
                                   Cli::TextMember(record, CDeviceInfo::ADDRESS) + ", then infosync-tv run";
        return {"paired", "paired with the set, which knows it already" + (isListed ? stays : unbond)};
    }
    if (isListed) {
        return {"audio sink", "an audio sink that is not paired with the set"};
    }
    if (!isListReadable) {
        return {"list unreadable",
                "nothing is against it, but a run ends at a list that it cannot read: "
                "infosync-tv factory-reset, then infosync-tv run"};
    }
    if (isSignedIn) {
        return {"next run", "nothing is against it: the next run lists it: infosync-tv run"};
    }
    return {"not signed in", "no run lists it until " + user + " is signed in: infosync-tv sign-in " + user +
                                 ", then infosync-tv run"};
}

Verdict Decide(const std::string& user, const Json::Value& record, const DeviceList& list,
               const std::string& signedIn) {
    Verdict verdict;
    verdict.user = user;
    verdict.id = Cli::TextMember(record, CDeviceInfo::RECORD_ID);
    verdict.name = Cli::TextMember(record, CDeviceInfo::NAME);
    verdict.address = Cli::TextMember(record, CDeviceInfo::ADDRESS);
    const auto entry = list.devices.find(verdict.id);
    if (entry != list.devices.end()) {
        verdict.listedFor = entry->second.users;
    }
    const auto& users = verdict.listedFor;
    const bool isSignedIn = user == signedIn;
    const bool isListed = std::find(users.begin(), users.end(), user) != users.end();
    const bool isListReadable = list.problem.empty();
    verdict.listed = isListReadable ? std::optional(isListed) : std::nullopt;
    verdict.words = isSignedIn ? "" : "belongs to " + user + ", who is not signed in; ";
    if (!isListed && !users.empty()) {
        verdict.words += "listed by the record of " + Cli::Join(users, ", ") + " only; for " + user + ": ";
    }
    const auto [why, reason] = ReasonFor(record, user, isSignedIn, isListed, isListReadable);
    verdict.why = why;
    verdict.words += reason;
    return verdict;
}

/** Whether that is the device of this id, name and address. */
bool IsMeant(const std::string& device, const std::string& id, const std::string& name,
             const std::string& address) {
    const std::string folded = Cli::CaseFolded(device);
    return id == device || Cli::CaseFolded(address) == folded ||
           Cli::CaseFolded(name).find(folded) != std::string::npos;
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
    for (const std::int64_t number : KeptRunNumbers()) {
        const KeptRun run = ReadKeptRun(number);
        for (const Json::Value& change : run["changes"]) {
            const auto text = [&change](const char* name) { return Cli::TextMember(change, name); };
            if (IsMeant(device, text("id"), text("name"), text("address"))) {
                traces = "Run " + Cli::TextMember(run, "number") + " " + text("change") + " it. ";
            }
        }
    }
    return traces + (BluetoothUtil::IsBondedDevice(device) ? "The set is paired with it. " : "");
}

/** The names, their words and the ids of which the word may be a misspelling. */
std::string Nearest(const std::string& device, const std::vector<Verdict>& verdicts) {
    std::set<std::string> words;
    for (const Verdict& verdict : verdicts) {
        const std::string name = Cli::CaseFolded(verdict.name);
        std::istringstream parts(name);
        words.insert(std::istream_iterator<std::string>(parts), {});
        words.insert({name, verdict.id});
    }
    return Cli::Nearest(Cli::CaseFolded(device), {words.begin(), words.end()});
}

/** What holds for every device. */
std::vector<std::string> Notes(const std::string& user, const DeviceList& list) {
    std::vector<std::string> notes;
    const KeptRun lastRun = ReadNewestRun();
    if (!lastRun.isNull() && lastRun["outcome"] != Log::SUCCESS) {
        notes.push_back("the last run: " + Log::OutcomeWords(lastRun) +
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
        notes.push_back(list.problem);
    }
    return notes;
}

}  // namespace

Inquiry Inquire(const std::string& device) {
    const DeviceList list = ReadDeviceList();
    const Document records = ReadKey(InfoSyncUtil::ALIAS_RECORDS);
    if (!records.state.problem.empty()) {
        throw std::runtime_error("the records are " + records.state.Complaint() +
                                 "\nThe next good run replaces them: infosync-tv run");
    }
    Inquiry inquiry;
    inquiry.user = SignedInUser();
    inquiry.notes = Notes(inquiry.user, list);
    std::vector<Verdict> all;
    for (const std::string& user : records.value.getMemberNames()) {
        const UserRecords of = RecordsOf(records, user);
        if (!of.state.problem.empty()) {
            inquiry.notes.push_back("the records of " + user + " cannot be read: " + of.state.problem);
        }
        for (const Json::Value& record : of.records) {
            all.push_back(Decide(user, record, list, inquiry.user));
        }
    }
    std::copy_if(all.begin(), all.end(), std::back_inserter(inquiry.devices), [&](const Verdict& verdict) {
        return device.empty() || IsMeant(device, verdict.id, verdict.name, verdict.address);
    });
    if (inquiry.devices.empty()) {
        const std::string known =
            device.empty() ? " is stored. "
                           : " of it is stored" + Nearest(device, all) + ". " + TracesOf(device, list);
        inquiry.notes.push_back("no record" + known +
                                "What the cloud has, the next run brings: infosync-tv run");
    }
    return inquiry;
}

Json::Value ToJson(const Inquiry& inquiry) {
    Json::Value json;
    json["user"] = Cli::TextOrNull(inquiry.user);
    json["notes"] = Cli::JsonArray(inquiry.notes);
    json["devices"] = Cli::JsonArray(inquiry.devices, [](const Verdict& verdict) {
        Json::Value device;
        device["user"] = verdict.user;
        device["id"] = verdict.id;
        device["name"] = verdict.name;
        device["address"] = verdict.address;
        device["listed"] = verdict.listed ? Json::Value(*verdict.listed) : Json::Value();
        device["listed_for"] = Cli::JsonArray(verdict.listedFor);
        device["why"] = verdict.why;
        device["words"] = verdict.words;
        return device;
    });
    return json;
}

std::string InquiryText(const Inquiry& inquiry, const Cli::Style& style) {
    std::string text;
    for (const std::string& note : inquiry.notes) {
        text += Cli::Wrap(Cli::Escape(note), 0, style.Width());
    }
    for (const Verdict& device : inquiry.devices) {
        const bool isListed = device.listed == true;
        const std::string listed = !device.listed             ? "not known"
                                   : isListed                 ? "listed"
                                   : device.listedFor.empty() ? "not listed"
                                                              : "listed for others";
        const std::string head =
            device.name + (device.address.empty() ? "" : " ") + device.address + " (" + device.id + "): ";
        text += style(isListed ? Cli::Colour::GREEN : Cli::Colour::YELLOW,
                      Cli::Wrap(Cli::Escape(head) + listed, 4, style.Width())) +
                "    " + Cli::Wrap(Cli::Escape(device.words), 4, style.Width());
    }
    return text;
}

}  // namespace Television
