#include "Cloud/State/Records.h"

#include <json/json.h>

#include <algorithm>
#include <stdexcept>

#include "AuthData/CDeviceInfo.h"
#include "Cli/Json.h"
#include "Cloud/State/Crypto.h"
#include "Cloud/State/Users.h"
#include "Files.h"

namespace LocalCloud {

namespace {

constexpr char OLDEST[] = "oldest";
constexpr char LATEST[] = "latest";
constexpr char RECORDS[] = "records";
constexpr char DELETED[] = "deleted";
constexpr char MARK[] = "mark";
constexpr char DIGEST[] = "sha256";

Json::Value LoadLedger(const std::string& path) {
    Json::Value ledger;
    ledger[RECORDS] = ledger[DELETED] = Json::objectValue;
    const auto text = Files::ReadIfThere(path);
    if (!text) {
        return ledger;
    }
    try {
        ledger = Cli::ParseObject(*text, path);
        const auto oldest = Cli::IntegerMember(ledger, OLDEST);
        if (!ledger[RECORDS].isObject() || !ledger[DELETED].isObject() || oldest < 1 ||
            Cli::IntegerMember(ledger, LATEST) < oldest) {
            throw std::runtime_error(path + ": not what the cloud wrote");
        }
    } catch (const std::runtime_error& damage) {
        throw std::runtime_error(std::string(damage.what()) +
                                 "; remove the file: every television then starts afresh");
    }
    return ledger;
}

/** Gives what differs from the ledger a new mark. @return whether anything does */
bool Update(Json::Value& ledger, const Json::Value& records, std::int64_t now) {
    const Json::Value known = ledger[RECORDS];
    const std::int64_t mark = std::max(now, Cli::IntegerMember(ledger, LATEST) + 1);
    bool changed = !ledger.isMember(LATEST);
    ledger[OLDEST] = changed ? Json::Value(Json::Int64(mark)) : ledger[OLDEST];
    ledger[RECORDS] = Json::objectValue;
    for (const auto& record : records) {
        const std::string id = Cli::StringMember(record, CDeviceInfo::RECORD_ID);
        Json::Value& entry = ledger[RECORDS][id];
        entry = known[id];
        const std::string digest = Hex(Sha256(Cli::CompactJson(record)));
        if (Cli::StringMember(entry, DIGEST) != digest) {
            entry[DIGEST] = digest;
            entry[MARK] = Json::Int64(mark);
            ledger[DELETED].removeMember(id);
            changed = true;
        }
    }
    for (const auto& id : known.getMemberNames()) {
        if (!ledger[RECORDS].isMember(id)) {
            ledger[DELETED][id][MARK] = Json::Int64(mark);
            changed = true;
        }
    }
    ledger[LATEST] = changed ? Json::Value(Json::Int64(mark)) : ledger[LATEST];
    return changed;
}

Selection Compose(const Json::Value& ledger, const Json::Value& records,
                  std::optional<std::int64_t> changedAfter) {
    Selection selection;
    selection.body = R"({"meta":{"synced_timestamp":)" + ledger[LATEST].asString() + R"(},"records":[)";
    const auto add = [&selection](const Json::Value& record) {
        selection.body += (selection.count++ == 0 ? "" : ",") + Cli::CompactJson(record);
    };
    const auto isNew = [&](const Json::Value& entry) {
        return Cli::IntegerMember(entry, MARK) > changedAfter.value_or(0);
    };
    for (const auto& record : records) {
        if (isNew(ledger[RECORDS][Cli::StringMember(record, CDeviceInfo::RECORD_ID)])) {
            add(record);
        }
    }
    const Json::Value& deleted = ledger[DELETED];
    for (auto entry = deleted.begin(); changedAfter && entry != deleted.end(); ++entry) {
        if (isNew(*entry)) {
            Json::Value record;
            record[CDeviceInfo::RECORD_ID] = entry.name();
            record["deleted"] = true;
            add(record);
        }
    }
    selection.body += "]}";
    return selection;
}

}  // namespace

Selection SelectRecords(const Folder& folder, const std::string& login,
                        std::optional<std::int64_t> changedAfter, std::int64_t now) {
    const auto text = Files::ReadIfThere(folder.RecordsFile(login));
    const std::string name = "users/" + FileNameOfLogin(login) + ".json";
    const Json::Value document = ParseUserFile(text.value_or(R"({"records":[]})"), name);
    const Json::Value& records = document[CDeviceInfo::RECORDS];
    Json::Value ledger = LoadLedger(folder.LedgerFile(login));
    if (Update(ledger, records, now)) {
        Files::Replace(folder.LedgerFile(login), Cli::CompactJson(ledger));
    }
    Selection selection;
    if (changedAfter && *changedAfter < Cli::IntegerMember(ledger, OLDEST)) {
        selection.outcome = Selection::Outcome::MARK_TOO_OLD;
    } else if (changedAfter && *changedAfter > Cli::IntegerMember(ledger, LATEST)) {
        selection.outcome = Selection::Outcome::MARK_UNKNOWN;
    } else {
        selection = Compose(ledger, records, changedAfter);
    }
    return selection;
}

}  // namespace LocalCloud
