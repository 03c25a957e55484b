#include "Cloud/Service/Ledger.h"

#include <algorithm>
#include <utility>

#include "Cloud/Util/Crypto.h"
#include "Cloud/Util/Errors.h"
#include "Cloud/Util/Json.h"
#include "Files.h"

namespace LocalCloud {

namespace {

constexpr char OLDEST[] = "oldest";
constexpr char LATEST[] = "latest";
constexpr char RECORDS[] = "records";
constexpr char DELETED[] = "deleted";
constexpr char MARK[] = "mark";
constexpr char DIGEST[] = "sha256";

// Televisions in step ask from the same mark or the one before; more answers need not be kept ready.
constexpr std::size_t ANSWERS_KEPT = 8;

}  // namespace

Ledger::Ledger(std::string path) : m_path(std::move(path)), m_history(Load(m_path)) {}

Ledger::History Ledger::Load(const std::string& path) {
    History history;
    const auto text = Files::ReadIfThere(path);
    if (!text) {
        return history;
    }
    try {
        const Json::Value document = ParseJsonObject(*text, path);
        history.oldest = IntegerMember(document, OLDEST);
        history.latest = IntegerMember(document, LATEST);
        if (!document[RECORDS].isObject() || !document[DELETED].isObject() || history.oldest < 1 ||
            history.latest < history.oldest) {
            throw CloudError(path + ": not what the cloud wrote");
        }
        for (auto entry = document[RECORDS].begin(); entry != document[RECORDS].end(); ++entry) {
            history.changes[entry.name()] = {IntegerMember(*entry, MARK), TextMember(*entry, DIGEST)};
        }
        for (auto entry = document[DELETED].begin(); entry != document[DELETED].end(); ++entry) {
            history.deletions[entry.name()] = IntegerMember(*entry, MARK);
        }
    } catch (const CloudError& damage) {
        throw CloudError(std::string(damage.what()) +
                         "; remove the file: every television then starts afresh");
    }
    return history;
}

void Ledger::Save(const History& history) const {
    Json::Value document;
    document[OLDEST] = Json::Int64(history.oldest);
    document[LATEST] = Json::Int64(history.latest);
    Json::Value& records = document[RECORDS] = Json::objectValue;
    for (const auto& [id, change] : history.changes) {
        records[id][MARK] = Json::Int64(change.mark);
        records[id][DIGEST] = change.digest;
    }
    Json::Value& deleted = document[DELETED] = Json::objectValue;
    for (const auto& [id, mark] : history.deletions) {
        deleted[id][MARK] = Json::Int64(mark);
    }
    Files::Replace(m_path, CompactJson(document));
}

void Ledger::Update(const Json::Value& records, std::int64_t now) {
    const std::int64_t mark = std::max(now, m_history.latest + 1);
    const bool isNew = m_history.latest == 0;
    History history = {isNew ? mark : m_history.oldest, m_history.latest, {}, m_history.deletions};
    std::vector<Record> current;
    current.reserve(records.size());
    bool changed = isNew;
    for (const auto& record : records) {
        const std::string id = TextMember(record, "record_id");
        std::string text = CompactJson(record);
        Change change = {mark, Hex(Sha256(text))};
        const auto before = m_history.changes.find(id);
        if (before != m_history.changes.end() && before->second.digest == change.digest) {
            change.mark = before->second.mark;
        } else {
            history.deletions.erase(id);
            changed = true;
        }
        current.push_back({std::move(text), change.mark});
        history.changes.emplace(id, std::move(change));
    }
    for (const auto& [id, change] : m_history.changes) {
        if (history.changes.count(id) == 0) {
            history.deletions[id] = mark;
            changed = true;
        }
    }
    if (changed) {
        history.latest = mark;
        Save(history);
    }
    m_history = std::move(history);
    m_records = std::move(current);
    m_answers.clear();
}

Selection Ledger::Select(std::optional<std::int64_t> changedAfter) {
    Selection selection;
    if (changedAfter && *changedAfter < m_history.oldest) {
        selection.outcome = Selection::Outcome::MarkTooOld;
        return selection;
    }
    if (changedAfter && *changedAfter > m_history.latest) {
        selection.outcome = Selection::Outcome::MarkUnknown;
        return selection;
    }
    const auto ready = m_answers.find(changedAfter);
    if (ready != m_answers.end()) {
        return ready->second;
    }
    selection.body = Compose(changedAfter.value_or(0), changedAfter.has_value(), selection.count);
    if (m_answers.size() >= ANSWERS_KEPT) {
        m_answers.erase(std::prev(m_answers.end()));
    }
    m_answers.emplace(changedAfter, selection);
    return selection;
}

std::shared_ptr<const std::string> Ledger::Compose(std::int64_t after, bool deletions,
                                                   std::size_t& count) const {
    std::string body =
        R"({"meta":{"synced_timestamp":)" + std::to_string(m_history.latest) + R"(},"records":[)";
    const auto add = [&body, &count](const std::string& text) {
        body += count++ == 0 ? "" : ",";
        body += text;
    };
    for (const auto& record : m_records) {
        if (record.mark > after) {
            add(record.text);
        }
    }
    if (deletions) {
        for (const auto& [id, mark] : m_history.deletions) {
            if (mark > after) {
                Json::Value record;
                record["record_id"] = id;
                record["deleted"] = true;
                add(CompactJson(record));
            }
        }
    }
    body += "]}";
    return std::make_shared<const std::string>(std::move(body));
}

}  // namespace LocalCloud
