/** What became of each record while the device list was brought up to date. */
#pragma once

#include <json/json.h>

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Log {

/** In the order in which they are counted. */
enum class Listing { ADDED, REMOVED, SKIPPED, PAIRED, NO_SINK, OTHER_USERS, NOT_LISTED, UPDATED, UNKNOWN };

/** A record's services as it has them; the audio sink in words. */
std::vector<std::string> ServicesOf(const std::string& uuids);

/** Why the service finds no audio sink among them. */
std::string NoSinkWords(const std::string& uuids);

class Devices {
public:
    /** A record's turn; what follows is of that one. */
    void Begin(std::string_view id);
    void Decide(Listing listing);
    void TakeServices(std::string_view uuids);
    void TakeRemoval(std::string_view message);
    /** That turn is over: what was not told of a deleted record by now is not so. */
    void End();
    /** Malformed ones, which are told of twice, by the merge and by the list. */
    void TakeSkipped(std::size_t count);

    /** Takes names and addresses from the objects that are there whole: records, or the list's members. */
    void LearnNames(std::string_view json);

    /** The first 2000, with their names, as a story has them. */
    Json::Value Records() const;
    /** "2 added", "1 no audio sink". */
    std::vector<std::string> Counts() const;

private:
    struct Record {
        std::string id;
        std::string services = {};
        Listing listing = Listing::UNKNOWN;
    };
    /** What a record is called, and its address. */
    using Name = std::pair<std::string, std::string>;

    std::optional<Record> m_record;
    std::vector<Record> m_records;
    std::map<Listing, std::size_t> m_counts;
    /** Of records that the log shows whole, by id. */
    std::map<std::string, Name> m_names;
};

}  // namespace Log
