#include "Cloud/State/Records.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "Cli/Json.h"
#include "Cloud/State/Crypto.h"
#include "Cloud/State/Users.h"

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

}  // namespace

Selection RecordBook::Select(const std::string& login, std::optional<std::int64_t> changedAfter) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    User& user = m_users[login];
    const std::string path = m_folder.RecordsFile(login);
    // Taken before reading: a write that comes in between is then seen at the next download.
    const Files::Version version(path);
    if (user.ledger.isNull() || !(user.version == version) || version.IsFresh()) {
        const auto text = Files::ReadIfThere(path);
        const std::string name = "users/" + FileNameOfLogin(login) + ".json";
        Update(login, user, ParseUserFile(text.value_or(R"({"records":[]})"), name)["records"]);
        user.version = version;
    }
    Selection selection;
    if (changedAfter && *changedAfter < Cli::IntegerMember(user.ledger, OLDEST)) {
        selection.outcome = Selection::Outcome::MARK_TOO_OLD;
        return selection;
    }
    if (changedAfter && *changedAfter > Cli::IntegerMember(user.ledger, LATEST)) {
        selection.outcome = Selection::Outcome::MARK_UNKNOWN;
        return selection;
    }
    return Compose(user, changedAfter);
}

Selection RecordBook::Compose(const User& user, std::optional<std::int64_t> changedAfter) {
    Selection selection;
    const auto latest = Cli::IntegerMember(user.ledger, LATEST);
    selection.body = R"({"meta":{"synced_timestamp":)" + std::to_string(latest) + R"(},"records":[)";
    const auto add = [&selection](const std::string& text) {
        selection.body += (selection.count++ == 0 ? "" : ",") + text;
    };
    for (const auto& record : user.records) {
        if (record.mark > changedAfter.value_or(0)) {
            add(record.text);
        }
    }
    const Json::Value& deleted = user.ledger[DELETED];
    for (auto entry = deleted.begin(); changedAfter && entry != deleted.end(); ++entry) {
        if (Cli::IntegerMember(*entry, MARK) > *changedAfter) {
            Json::Value record;
            record["record_id"] = entry.name();
            record["deleted"] = true;
            add(Cli::CompactJson(record));
        }
    }
    selection.body += "]}";
    return selection;
}

void RecordBook::Update(const std::string& login, User& user, const Json::Value& records) const {
    const std::string path = m_folder.LedgerFile(login);
    const Json::Value before = user.ledger.isNull() ? LoadLedger(path) : user.ledger;
    const Json::Value& known = before[RECORDS];
    const bool isNew = !before.isMember(LATEST);
    const std::int64_t mark = std::max<std::int64_t>(m_clock(), Cli::IntegerMember(before, LATEST) + 1);
    Json::Value ledger = before;
    ledger[RECORDS] = Json::objectValue;
    bool changed = isNew;
    std::vector<Record> current;
    for (const auto& record : records) {
        const std::string id = Cli::StringMember(record, "record_id");
        current.push_back({Cli::CompactJson(record), mark});
        Json::Value& entry = ledger[RECORDS][id];
        entry[DIGEST] = Hex(Sha256(current.back().text));
        if (Cli::StringMember(known[id], DIGEST) == entry[DIGEST].asString()) {
            current.back().mark = Cli::IntegerMember(known[id], MARK);
        } else {
            ledger[DELETED].removeMember(id);
            changed = true;
        }
        entry[MARK] = Json::Int64(current.back().mark);
    }
    for (const auto& id : known.getMemberNames()) {
        if (!ledger[RECORDS].isMember(id)) {
            ledger[DELETED][id][MARK] = Json::Int64(mark);
            changed = true;
        }
    }
    if (changed) {
        ledger[OLDEST] = isNew ? Json::Value(Json::Int64(mark)) : before[OLDEST];
        ledger[LATEST] = Json::Int64(mark);
        Files::Replace(path, Cli::CompactJson(ledger));
    }
    user.ledger = std::move(ledger);
    user.records = std::move(current);
}

}  // namespace LocalCloud
