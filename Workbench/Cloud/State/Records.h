/** The users' device records, and when each of them changed. */
#pragma once

#include <json/json.h>

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "Cloud/State/Folder.h"
#include "Files.h"

namespace LocalCloud {

/** What a download brings. */
struct Selection {
    enum class Outcome {
        RECORDS,
        MARK_TOO_OLD,  // what was deleted since then is no longer known
        MARK_UNKNOWN,  // this cloud never gave out such a mark
    };

    Outcome outcome = Outcome::RECORDS;
    /** The answer, and how many records it holds; set with RECORDS only. */
    std::string body;
    std::size_t count = 0;
};

/**
 * Answers downloads out of the users' files. A file is read again when it was written, and compared with what
 * was there before; every change gets a mark that is greater than all earlier ones. The marks are kept in a
 * file beside it, the ledger, so that a change made while no server ran is seen, too. Safe from any thread.
 */
class RecordBook {
public:
    /** Milliseconds since the epoch. */
    using Clock = std::function<std::int64_t()>;

    RecordBook(const Folder& folder, Clock clock) : m_folder(folder), m_clock(std::move(clock)) {}

    /**
     * Selects what changed after a mark, deletions included; without a mark, all that there is. A user
     * without a file has no records.
     * @throws std::runtime_error that says what is wrong with the user's file; the state before it is kept
     */
    Selection Select(const std::string& login, std::optional<std::int64_t> changedAfter);

private:
    struct Record {
        std::string text;
        std::int64_t mark = 0;
    };
    struct User {
        /** As it is stored; null before the user's first download. */
        Json::Value ledger;
        std::vector<Record> records;
        /** Which version of the user's file these are from. */
        Files::Version version;
    };

    static Selection Compose(const User& user, std::optional<std::int64_t> changedAfter);
    /** Gives what differs from the ledger a new mark. It is saved before it counts. */
    void Update(const std::string& login, User& user, const Json::Value& records) const;

    Folder m_folder;
    Clock m_clock;
    std::mutex m_mutex;
    std::map<std::string, User> m_users;
};

}  // namespace LocalCloud
