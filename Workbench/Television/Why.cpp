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

Json::Value Decide(const std::string& user, const Json::Value& record, const DeviceList& list,
                   const std::string& signedIn) {
    const std::string id = Cli::TextMember(record, CDeviceInfo::RECORD_ID);
    const auto entry = list.devices.find(id);
    const bool isThere = entry != list.devices.end();
    const Json::Value users = isThere ? entry->second["users"] : Json::Value(Json::arrayValue);
    const bool isSignedIn = user == signedIn;
    const bool isListed = std::find(users.begin(), users.end(), user) != users.end();
    const bool isListReadable = list.problem.empty();
    std::string words = isSignedIn ? "" : "belongs to " + user + ", who is not signed in; ";
    if (!isListed && !users.empty()) {
        words += "listed by the record of " + Log::Joined(users, ", ") + " only; for " + user + ": ";
    }
    const auto [why, reason] = ReasonFor(record, user, isSignedIn, isListed, isListReadable);
    Json::Value verdict;
    verdict["user"] = user;
    verdict["id"] = id;
    verdict["name"] = Cli::TextMember(record, CDeviceInfo::NAME);
    verdict["address"] = Cli::TextMember(record, CDeviceInfo::ADDRESS);
    verdict["listed"] = isListReadable ? Json::Value(isListed) : Json::Value();
    verdict["listed_for"] = users;
    verdict["why"] = why;
    verdict["words"] = words + reason;
    return verdict;
}

/** Whether that is the device of an object with "id", "name" and "address". */
bool IsMeant(const std::string& device, const Json::Value& object) {
    const auto text = [&object](const char* name) { return Cli::TextMember(object, name); };
    const std::string folded = Cli::CaseFolded(device);
    return text("id") == device || Cli::CaseFolded(text("address")) == folded ||
           Cli::CaseFolded(text("name")).find(folded) != std::string::npos;
}

/** What the television knows of a device that no record is of. */
std::string TracesOf(const std::string& device, const DeviceList& list) {
    for (const auto& [id, entry] : list.devices) {
        if (IsMeant(device, entry)) {
            return "It is on the device list for " + Log::Joined(entry["users"], ", ") +
                   ", though no record that is stored is of it. ";
        }
    }
    std::string traces;
    for (const std::int64_t number : KeptRunNumbers()) {
        const KeptRun run = ReadKeptRun(number);
        for (const Json::Value& change : run["changes"]) {
            if (IsMeant(device, change)) {
                traces = "Run " + Cli::TextMember(run, "number") + " " + Cli::TextMember(change, "change") +
                         " it. ";
            }
        }
    }
    return traces + (BluetoothUtil::IsBondedDevice(device) ? "The set is paired with it. " : "");
}

/** The names, their words and the ids of which the word may be a misspelling. */
std::string Nearest(const std::string& device, const Json::Value& verdicts) {
    std::set<std::string> words;
    for (const Json::Value& verdict : verdicts) {
        const std::string name = Cli::CaseFolded(verdict["name"].asString());
        std::istringstream parts(name);
        words.insert(std::istream_iterator<std::string>(parts), {});
        words.insert({name, verdict["id"].asString()});
    }
    return Cli::Nearest(Cli::CaseFolded(device), {words.begin(), words.end()});
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

}  // namespace

Json::Value Inquire(const std::string& device) {
    const DeviceList list = ReadDeviceList();
    const Document records = ReadKey(InfoSyncUtil::ALIAS_RECORDS);
    if (records.state.isMember("problem")) {
        throw std::runtime_error("the records are " + Complaint(records.state) +
                                 "\nThe next good run replaces them: infosync-tv run");
    }
    const std::string signedIn = SignedInUser();
    std::vector<std::string> notes = Notes(signedIn, list);
    Json::Value all(Json::arrayValue);
    Json::Value meant(Json::arrayValue);
    for (const std::string& user : records.value.getMemberNames()) {
        const State of = RecordsOf(records, user);
        if (of.isMember("problem")) {
            notes.push_back("the records of " + user + " cannot be read: " + of["problem"].asString());
        }
        for (const Json::Value& record : of["records"]) {
            const Json::Value& verdict = all.append(Decide(user, record, list, signedIn));
            if (device.empty() || IsMeant(device, verdict)) {
                meant.append(verdict);
            }
        }
    }
    if (meant.empty()) {
        const std::string known =
            device.empty() ? " is stored. "
                           : " of it is stored" + Nearest(device, all) + ". " + TracesOf(device, list);
        notes.push_back("no record" + known + "What the cloud has, the next run brings: infosync-tv run");
    }
    Json::Value inquiry;
    inquiry["user"] = Cli::TextOrNull(signedIn);
    inquiry["notes"] = Cli::JsonArray(notes);
    inquiry["devices"] = std::move(meant);
    return inquiry;
}

std::string InquiryText(const Json::Value& inquiry, const Cli::Style& style) {
    std::string text;
    for (const Json::Value& note : inquiry["notes"]) {
        text += Cli::Wrap(Cli::Escape(note.asString()), 0, style.Width());
    }
    for (const Json::Value& device : inquiry["devices"]) {
        const auto member = [&device](const char* name) { return device[name].asString(); };
        const bool isListed = device["listed"] == true;
        const std::string listed = device["listed"].isNull()      ? "not known"
                                   : isListed                     ? "listed"
                                   : device["listed_for"].empty() ? "not listed"
                                                                  : "listed for others";
        const std::string address = member("address");
        const std::string head =
            member("name") + (address.empty() ? "" : "  ") + address + "  (" + member("id") + ")  ";
        text += style(isListed ? Cli::Colour::GREEN : Cli::Colour::YELLOW, Cli::Escape(head) + listed) +
                "\n    " + Cli::Wrap(Cli::Escape(member("words")), 4, style.Width());
    }
    return text;
}

}  // namespace Television
