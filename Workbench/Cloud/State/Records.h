/** The users' device records, and when each of them changed. */
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Cloud/State/Folder.h"

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
 * Answers a download out of the user's file: what changed after a mark, deletions included; without a mark,
 * all that there is. A user without a file has no records. The file is compared with what was there before;
 * every change gets a mark that is greater than all earlier ones. The marks are kept in a file beside it, the
 * ledger, so that a change made while no server ran is seen, too. One thread at a time.
 * @param now milliseconds since the epoch
 * @throws std::runtime_error that says what is wrong with the user's file; the ledger is left as it was
 */
Selection SelectRecords(const Folder& folder, const std::string& login,
                        std::optional<std::int64_t> changedAfter, std::int64_t now);

}  // namespace LocalCloud
