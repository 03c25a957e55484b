#include "Television/Verdict.h"

#include <glib.h>

#include <algorithm>
#include <memory>

#include "AuthData/CDeviceInfo.h"
#include "Cli/Json.h"
#include "Cli/Text.h"
#include "Television/ServiceNames.h"
#include "Util/BluetoothUtil.h"
#include "Util/CommonUtil.h"

namespace Television {

namespace {

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

void Decide(Verdict& verdict, const Json::Value& record, const DeviceList& list) {
    const Rule rule = RuleFor(record);
    const std::string noSink = rule == Rule::NO_SINK ? NoSinkWords(Cli::TextMember(record, "uuids")) : "";
    const auto entry = list.devices.find(verdict.id);
    if (entry != list.devices.end()) {
        verdict.listedFor = entry->second.users;
    }
    const auto& users = verdict.listedFor;
    const bool isListed = std::find(users.begin(), users.end(), verdict.user) != users.end();
    const Reason reason =
        isListed ? ListedReason(rule, noSink) : UnlistedReason(rule, noSink, verdict.address);
    verdict.listed = isListed        ? Verdict::Listed::YES
                     : users.empty() ? Verdict::Listed::NO
                                     : Verdict::Listed::FOR_OTHERS;
    verdict.why = reason.why;
    verdict.words = reason.words;
    if (verdict.listed == Verdict::Listed::FOR_OTHERS) {
        verdict.words = "listed by the record of " + Cli::Join(users, ", ") + " only; for " + verdict.user +
                        ": " + reason.words;
    }
    if (!list.problem.empty()) {
        verdict.listed = Verdict::Listed::UNKNOWN;
        verdict.words = "the device list cannot be read; by the rules: " + verdict.words;
    }
}

}  // namespace

const char* ListedWord(Verdict::Listed listed) {
    switch (listed) {
        case Verdict::Listed::YES:
            return "yes";
        case Verdict::Listed::NO:
            return "no";
        case Verdict::Listed::FOR_OTHERS:
            return "others";
        default:
            return "?";
    }
}

std::vector<Verdict> Judge(const UserRecords& user, const DeviceList& list) {
    BluetoothUtil::Initialize();
    std::vector<Verdict> verdicts;
    for (const Json::Value& record : user.records) {
        Verdict verdict;
        verdict.user = user.user;
        verdict.id = Cli::TextMember(record, "record_id");
        verdict.name = Cli::TextMember(record, "name");
        verdict.address = Cli::TextMember(record, "address");
        for (const std::string& uuid : CommonUtil::SplitString(Cli::TextMember(record, "uuids"))) {
            verdict.services.push_back(ServiceName(uuid));
        }
        Decide(verdict, record, list);
        verdicts.push_back(std::move(verdict));
    }
    return verdicts;
}

Json::Value ToJson(const Verdict& verdict) {
    const auto array = [](const std::vector<std::string>& texts) {
        Json::Value all(Json::arrayValue);
        for (const std::string& text : texts) {
            all.append(text);
        }
        return all;
    };
    Json::Value json;
    json["user"] = verdict.user;
    json["id"] = verdict.id;
    json["name"] = verdict.name;
    json["address"] = verdict.address;
    json["services"] = array(verdict.services);
    json["listed"] =
        verdict.listed == Verdict::Listed::UNKNOWN ? Json::Value() : verdict.listed == Verdict::Listed::YES;
    json["listed_for"] = array(verdict.listedFor);
    json["why"] = verdict.why;
    json["words"] = verdict.words;
    return json;
}

}  // namespace Television
