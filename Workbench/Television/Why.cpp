#include "Television/Why.h"

#include <algorithm>
#include <iterator>
#include <sstream>
#include <stdexcept>

#include "AuthData/CDeviceInfo.h"
#include "Cli/Json.h"
#include "Cli/Text.h"
#include "Television/KeptRun.h"
#include "Television/Log/Devices.h"
#include "Television/Status.h"
#include "Television/Stored.h"
#include "Util/BluetoothUtil.h"

namespace Television {

namespace {

/** Whether the service would put the record on a list that is empty. */
bool IsForList(const Json::Value& record) {
    Json::Value list;
    CDeviceInfo().AddToDeviceList(list, record, "record", "user");
    return !list.isNull();
}

struct Reason {
    bool holds;
    const char* why;
    std::string words;
};

/** The first that holds counts; what is listed already may stay so against it. */
std::vector<Reason> ReasonsFor(const Verdict& of, const Json::Value& record, bool isSignedIn) {
    const bool isListed = of.listedFor.count(of.user) != 0;
    const bool isUsable = CDeviceInfo::IsUsable(record);
    const bool isSink = isUsable && CDeviceInfo::IsAudioSink(record);
    const std::string run = isSignedIn ? "the next run" : "a run with " + of.user + " signed in";
    const auto but = [isListed](const std::string& listed, const std::string& unlisted) {
        return isListed ? listed : unlisted;
    };
    const std::string stays = ". It was listed before that, and stays so";
    return {
        {!isUsable, "malformed",
         "record_id, name, address or uuids is no text: mend the record in the cloud" + but(stays, "")},
        {isUsable && !record.isMember(CDeviceInfo::ADDRESS), "deleted",
         "deleted in the cloud" + but("; " + run + " takes it off", ": its record has no address any more")},
        {!isSink, "no audio sink",
         Log::NoSinkWords(Cli::TextMember(record, CDeviceInfo::UUIDS)) + but(stays, "")},
        {isSink && !IsForList(record), "paired",
         "paired with the set, which knows it already" +
             but(stays, ". To see it listed: infosync-tv unbond " + of.address + ", then infosync-tv run")},
        {isListed, "audio sink", "an audio sink that is not paired with the set"},
        {!of.listed, "list unreadable",
         "nothing is against it, but a run ends at a list that it cannot read: infosync-tv factory-reset, "
         "then infosync-tv run"},
        {isSignedIn, "next run", "nothing is against it: the next run lists it: infosync-tv run"},
        {true, "not signed in",
         "no run lists it until " + of.user + " is signed in: infosync-tv sign-in " + of.user +
             ", then infosync-tv run"}};
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
        verdict.listedFor.insert(entry->second.users.begin(), entry->second.users.end());
    }
    const auto& users = verdict.listedFor;
    verdict.words = user == signedIn ? "" : "belongs to " + user + ", who is not signed in; ";
    if (!list.problem.empty()) {
        verdict.words += "the device list cannot be read; by the rules: ";
    } else {
        verdict.listed = users.count(user) != 0;
    }
    if (verdict.listed == false && !users.empty()) {
        verdict.words += "listed by the record of " + Cli::Join({users.begin(), users.end()}, ", ") +
                         " only; for " + user + ": ";
    }
    const std::vector<Reason> reasons = ReasonsFor(verdict, record, user == signedIn);
    const Reason& reason = *std::find_if(reasons.begin(), reasons.end(), [](auto& r) { return r.holds; });
    verdict.why = reason.why;
    verdict.words += reason.words;
    return verdict;
}

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

/** Whole names of which the word may be a misspelling, or one of their words. */
std::string NearestNames(const std::string& device, const std::vector<Verdict>& verdicts) {
    constexpr std::size_t MOST_SHOWN = 3;
    std::vector<std::string> near;
    for (const Verdict& verdict : verdicts) {
        std::istringstream folded(Cli::CaseFolded(verdict.name));
        std::vector<std::string> words{std::istream_iterator<std::string>(folded), {}};
        words.push_back(folded.str());
        words.push_back(verdict.id);
        if (near.size() < MOST_SHOWN && !Cli::Nearest(Cli::CaseFolded(device), words).empty()) {
            near.push_back(verdict.name);
        }
    }
    return near.empty() ? "" : "Nearest: " + Cli::Join(near, ", ") + ". ";
}

/** What holds for every device. */
std::vector<std::string> Notes(const std::string& user, const DeviceList& list) {
    std::vector<std::string> notes;
    const KeptRun lastRun = ReadNewestRun();
    if (!lastRun.isNull() && !IsSuccess(lastRun)) {
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

Json::Value VerdictJson(const Verdict& verdict) {
    Json::Value json;
    json["user"] = verdict.user;
    json["id"] = verdict.id;
    json["name"] = verdict.name;
    json["address"] = verdict.address;
    json["listed"] = verdict.listed ? Json::Value(*verdict.listed) : Json::Value();
    json["listed_for"] = Cli::JsonArray(verdict.listedFor);
    json["why"] = verdict.why;
    json["words"] = verdict.words;
    return json;
}

std::string VerdictText(const Verdict& verdict, const Cli::Style& style) {
    const std::string listed = !verdict.listed             ? "not known"
                               : *verdict.listed           ? "listed"
                               : verdict.listedFor.empty() ? "not listed"
                                                           : "listed for others";
    const std::string address = verdict.address.empty() ? "" : "  " + verdict.address;
    const std::string head = verdict.name + address + "  (" + verdict.id + ")  ";
    const auto colour = verdict.listed == true ? Cli::Colour::GREEN : Cli::Colour::YELLOW;
    return style(colour, Cli::Escape(head) + listed) + "\n    " +
           Cli::Wrap(Cli::Escape(verdict.words), 4, style.Width());
}

}  // namespace

Inquiry Inquire(const std::string& device) {
    const DeviceList list = ReadDeviceList();
    const RecordStore store = ReadRecords();
    if (!store.state.IsReadable()) {
        throw std::runtime_error("the records are " + store.state.Complaint() +
                                 "\nThe next good run replaces them: infosync-tv run");
    }
    Inquiry inquiry;
    inquiry.user = SignedInUser();
    inquiry.notes = Notes(inquiry.user, list);
    std::vector<Verdict> all;
    for (const auto& [user, records] : store.users) {
        if (!records.state.IsReadable()) {
            inquiry.notes.push_back("the records of " + user + " cannot be read: " + records.state.problem);
        }
        for (const Json::Value& record : records.records) {
            all.push_back(Decide(user, record, list, inquiry.user));
        }
    }
    std::copy_if(all.begin(), all.end(), std::back_inserter(inquiry.verdicts),
                 [&device](const Verdict& verdict) {
                     return device.empty() || IsMeant(device, verdict.id, verdict.name, verdict.address);
                 });
    if (inquiry.verdicts.empty()) {
        inquiry.notes.push_back((device.empty() ? "no record is stored. "
                                                : "no record of it is stored. " + NearestNames(device, all) +
                                                      TracesOf(device, list)) +
                                "What the cloud has, the next run brings: infosync-tv run");
    }
    return inquiry;
}

Json::Value ToJson(const Inquiry& inquiry) {
    Json::Value json;
    json["user"] = Cli::TextOrNull(inquiry.user);
    json["notes"] = Cli::JsonArray(inquiry.notes);
    json["devices"] = Cli::JsonArray(inquiry.verdicts, &VerdictJson);
    return json;
}

std::string InquiryText(const Inquiry& inquiry, const Cli::Style& style) {
    std::string text;
    for (const std::string& note : inquiry.notes) {
        text += Cli::Wrap(Cli::Escape(note), 0, style.Width());
    }
    for (const Verdict& verdict : inquiry.verdicts) {
        text += VerdictText(verdict, style);
    }
    return text;
}

}  // namespace Television
