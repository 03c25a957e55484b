/** The users' device records, and when each of them changed. */
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "Cloud/Service/Folder.h"
#include "Cloud/Service/Ledger.h"
#include "Files.h"

namespace LocalCloud {

/**
 * Answers downloads out of the users' files. A file is read again when it was written, and compared with what
 * was there before; every change gets a mark that is greater than all earlier ones. The marks are kept in a
 * file beside it, so that a change made while no server ran is seen, too. Safe from any thread.
 */
class RecordBook {
public:
    /** Milliseconds since the epoch. */
    using Clock = std::function<std::int64_t()>;

    RecordBook(const Folder& folder, Clock clock);

    /**
     * Selects what changed after a mark, deletions included; without a mark, all that there is. A user
     * without a file has no records.
     * @throws CloudError that says what is wrong with the user's file; the state before it is kept
     */
    Selection Select(const std::string& login, std::optional<std::int64_t> changedAfter);

private:
    struct User {
        Ledger ledger;
        /** Whether the file was ever looked at, and which version of it the ledger knows; none is no file. */
        bool seen = false;
        Files::Version version;
    };
    User& Find(const std::string& login);

    Folder m_folder;
    Clock m_clock;
    std::mutex m_mutex;
    std::map<std::string, User> m_users;
};

}  // namespace LocalCloud
