#include "Television/Inquiry.h"

#include <glib.h>
#include <sys/stat.h>

#include <algorithm>
#include <memory>

#include "Cli/Duration.h"
#include "Cli/Json.h"
#include "Cli/Text.h"
#include "Television/DeviceList.h"
#include "Television/KeptRun.h"
#include "Television/Records.h"
#include "TvFolder.h"
#include "TvIni.h"
#include "Util/BluetoothUtil.h"
#include "Util/SecurityUtil.h"

namespace Television {

namespace {

using Cli::Colour;

std::string CaseFolded(const std::string& text) {
    const std::unique_ptr<char, decltype(&g_free)> valid(
        g_utf8_make_valid(text.data(), static_cast<gssize>(text.size())), &g_free);
    const std::unique_ptr<char, decltype(&g_free)> folded(g_utf8_casefold(valid.get(), -1), &g_free);
    return folded.get();
}

bool IsMeant(const std::string& device, const std::string& id, const std::string& name,
             const std::string& address) {
    const std::string folded = CaseFolded(device);
    return id == device || CaseFolded(address) == folded ||
           CaseFolded(name).find(folded) != std::string::npos;
}

std::string Ago(std::int64_t now, std::int64_t then) {
    return Cli::DurationWords(Cli::Difference(now, then)) + " ago";
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

std::string NotDownloaded(const Inquiry& inquiry, const std::string& device, const DeviceList& list,
                          std::int64_t now) {
    const std::string last =
        inquiry.storedAt == 0 ? "nothing was downloaded so far"
        : inquiry.mark > 0    ? "the last download, " + Ago(now, inquiry.storedAt) + ", came to mark " +
                                 std::to_string(inquiry.mark)
                           : "the last download was " + Ago(now, inquiry.storedAt) + " and left no mark";
    return (device.empty() ? "no record is stored; " : "no record of it is stored; ") + last + ". " +
           (device.empty() ? "" : TracesOf(device, list)) +
           "What the cloud has, the next run brings: infosync-tv run";
}

void AddNotes(Inquiry& inquiry, const DeviceList& list) {
    const Json::Value lastRun = ReadNewestRun();
    if (!lastRun.isNull() && Cli::TextMember(lastRun, "outcome") != KindName(RunOutcome::Kind::SUCCESS)) {
        inquiry.notes.push_back("the last run: " + Cli::TextMember(lastRun, "words") +
                                ". What it did: infosync-tv log | infosync-tv explain");
    }
    if (inquiry.user.empty()) {
        inquiry.notes.emplace_back(
            "nobody is signed in, so no run changes the list: infosync-tv sign-in USER");
    }
    if (!BluetoothUtil::Initialize()) {
        inquiry.notes.emplace_back(
            "Bluetooth does not start, so no run gets as far as the list: see [bluetooth] in tv.ini");
    }
    if (!list.problem.empty()) {
        std::string note = list.problem;
        const auto end = note.find('\n');
        inquiry.notes.push_back(end == std::string::npos ? note : note.replace(end, 1, ". "));
    }
}

std::string SignedIn() {
    const auto ini = TvFolder::ReadIni();
    return ini->Integer(TvKeys::SSO_STATE) == 1 ? ini->Text(TvKeys::LOGIN_ID).value_or("") : "";
}

std::string VerdictText(const Verdict& verdict, const std::string& signedIn, const Cli::Style& style) {
    const bool isListed = verdict.listed == Verdict::Listed::YES;
    const std::string state = isListed                                        ? "listed"
                              : verdict.listed == Verdict::Listed::FOR_OTHERS ? "listed for others"
                              : verdict.listed == Verdict::Listed::UNKNOWN    ? "not known"
                                                                              : "not listed";
    std::string place;
    for (const std::string& part : {verdict.address, "(" + verdict.id + ")", state}) {
        place += part.empty() ? "" : "  " + Cli::Escape(part);
    }
    const std::size_t used = std::min(Cli::DisplayWidth(place), Cli::LINE_WIDTH / 2);
    const std::string head = Cli::Shorten(Cli::Escape(verdict.name), Cli::LINE_WIDTH - used) + place;
    const std::string owner =
        verdict.user == signedIn
            ? ""
            : "belongs to " + verdict.user + ", who is not signed in" + (verdict.words.empty() ? "" : "; ");
    return style(isListed ? Colour::GREEN : Colour::YELLOW, head) + "\n    " +
           Cli::Wrap(Cli::Escape(owner + verdict.words), 4);
}

}  // namespace

Inquiry Inquire(const std::string& device, std::int64_t now) {
    const DeviceList list = ReadDeviceList();
    Inquiry inquiry;
    inquiry.user = SignedIn();
    AddNotes(inquiry, list);
    for (const UserRecords& user : ReadRecords("")) {
        if (user.user == inquiry.user) {
            inquiry.mark = user.mark;
            inquiry.storedAt = RecordsTime();
        }
        if (!user.problem.empty()) {
            inquiry.notes.push_back("the records of " + user.user + " cannot be read: " + user.problem);
        }
        for (Verdict& verdict : Judge(user, list)) {
            const bool isMeant = device.empty() ? user.user == inquiry.user || inquiry.user.empty()
                                                : IsMeant(device, verdict.id, verdict.name, verdict.address);
            if (isMeant) {
                inquiry.verdicts.push_back(std::move(verdict));
            }
        }
    }
    if (inquiry.verdicts.empty()) {
        inquiry.notes.push_back(NotDownloaded(inquiry, device, list, now));
    }
    return inquiry;
}

Json::Value ToJson(const Inquiry& inquiry) {
    Json::Value json;
    json["user"] = inquiry.user.empty() ? Json::Value() : Json::Value(inquiry.user);
    json["mark"] = static_cast<Json::Int64>(inquiry.mark);
    json["stored_at"] = static_cast<Json::Int64>(inquiry.storedAt);
    json["notes"] = Json::Value(Json::arrayValue);
    for (const std::string& note : inquiry.notes) {
        json["notes"].append(note);
    }
    json["devices"] = Json::Value(Json::arrayValue);
    for (const Verdict& verdict : inquiry.verdicts) {
        json["devices"].append(ToJson(verdict));
    }
    return json;
}

std::string InquiryText(const Inquiry& inquiry, const Cli::Style& style) {
    std::string text;
    for (const std::string& note : inquiry.notes) {
        text += Cli::Wrap(Cli::Escape(note), 0);
    }
    for (const Verdict& verdict : inquiry.verdicts) {
        text += VerdictText(verdict, inquiry.user, style);
    }
    return text;
}

}  // namespace Television
