/** One user's records with the mark of each one's last change. */
#pragma once

#include <json/json.h>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace LocalCloud {

/** What a download brings. */
struct Selection {
    enum class Outcome {
        Records,
        MarkTooOld,   // what was deleted since then is no longer known
        MarkUnknown,  // this cloud never gave out such a mark
    };

    Outcome outcome = Outcome::Records;
    /** The answer; set with Records only. */
    std::shared_ptr<const std::string> body;
    /** How many records it holds. */
    std::size_t count = 0;
};

class Ledger {
public:
    /** Reads back what an earlier server saved. @throws CloudError when it is damaged */
    explicit Ledger(std::string path);

    /**
     * Takes the user's records as they are now (each with a record_id of its own) and gives what differs from
     * the last time a new mark, at least `now`. What was worked out is saved before it counts.
     * @throws CloudError, and nothing is changed
     */
    void Update(const Json::Value& records, std::int64_t now);

    Selection Select(std::optional<std::int64_t> changedAfter);

private:
    struct Change {
        std::int64_t mark = 0;
        std::string digest;
    };
    /** What is remembered from one run of the server to the next. */
    struct History {
        std::int64_t oldest = 0;
        std::int64_t latest = 0;
        std::unordered_map<std::string, Change> changes;
        std::map<std::string, std::int64_t> deletions;
    };
    struct Record {
        std::string text;
        std::int64_t mark = 0;
    };

    static History Load(const std::string& path);
    void Save(const History& history) const;
    std::shared_ptr<const std::string> Compose(std::int64_t after, bool deletions, std::size_t& count) const;

    std::string m_path;
    History m_history;
    std::vector<Record> m_records;
    std::map<std::optional<std::int64_t>, Selection> m_answers;
};

}  // namespace LocalCloud
