/** The cloud's users, the files that hold their device records, and when each of these changed. */
#pragma once

#include <json/json.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Cloud/State/Folder.h"

namespace LocalCloud {

/** A user is known when there is a file for the login id: an object whose "records" is an array of objects,
 * each with a "record_id" of its own. */
class Users {
public:
    explicit Users(const Folder& folder) : m_folder(folder) {}

    std::vector<std::string> List() const;
    bool Exists(const std::string& login) const;
    /** @throws std::runtime_error that says how to add the user, unless there is one */
    void RequireExists(const std::string& login) const;
    /** @return false, with nothing changed, when the user exists already @throws std::runtime_error */
    bool Add(const std::string& login) const;
    /** @throws std::runtime_error that says what to do, also for an unknown user */
    Json::Value Load(const std::string& login) const;
    void Save(const std::string& login, const Json::Value& document) const;

private:
    Folder m_folder;
};

/**
 * The answer to a download: what changed after a mark, deletions included; without a mark, all that there is.
 * A user without a file has no records. The file is compared with what was there before; every change gets a
 * mark that is greater than all earlier ones. The marks are kept in a file beside it, the ledger, so that a
 * change made while no server ran is seen, too. One thread at a time.
 * @param now milliseconds since the epoch
 * @throws Refused for a mark that is too old (what was deleted since then is no longer known), was never
 * given or was made to expire; std::runtime_error that says what is wrong with the user's file: the ledger is
 * left as it was
 */
Json::Value SelectRecords(const Folder& folder, const std::string& login,
                          std::optional<std::int64_t> changedAfter, std::int64_t now);

}  // namespace LocalCloud
