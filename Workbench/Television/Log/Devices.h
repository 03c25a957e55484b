/** What became of each record while the device list was brought up to date. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Log {

/** The number in the text's first digits, or their sign before them; 0 for none. */
std::int64_t FirstNumber(std::string_view text);

/** The value of the first member of that name in JSON that may be cut anywhere: a text as it is written, or a
 * number. */
std::string Member(std::string_view json, const std::string& name);

/** In the order in which they are counted. */
enum class Listing { ADDED, REMOVED, SKIPPED, PAIRED, NO_SINK, OTHER_USERS, NOT_LISTED, UPDATED, NOT_TOLD };

struct Record {
    std::string id;
    std::string name;
    std::string address;
    /** UUIDs, where the log shows them. */
    std::string services;
    Listing listing = Listing::NOT_TOLD;
};

/** A record's services as it has them; the audio sink in words. */
std::vector<std::string> ServicesOf(const std::string& uuids);

/** Why the service finds no audio sink among them. */
std::string NoSinkWords(const std::string& uuids);

/** "added", "paired with the set", ... */
std::string ListingName(Listing listing);

/** The same in a sentence, with what the log tells of the reason and what is odd about the record. */
std::string ListingWords(const Record& record);

class Devices {
public:
    /** A record's turn; what follows is of that one. */
    void Begin(std::string_view id);
    void Decide(Listing listing);
    void TakeServices(std::string_view uuids);
    void TakeRemoval(std::string_view message);
    /** The turn of the last one is over. */
    void End();
    /** Malformed ones, which are told of twice, by the merge and by the list. */
    void TakeSkipped(std::size_t count);

    /** Takes names and addresses from the objects that are there whole: records, or the list's members. */
    void LearnNames(std::string_view json);

    /** The first 2000, with their names; nothing more is to come. */
    std::vector<Record> Records() const;
    const std::map<Listing, std::size_t>& Counts() const {
        return m_counts;
    }

private:
    std::optional<Record> m_record;
    /** Of a deleted record the id is told, then whose device it was, then the id again for the last one's. */
    std::size_t m_removalLines = 0;
    bool m_isTakenOff = false;
    std::vector<Record> m_records;
    std::map<Listing, std::size_t> m_counts;
    /** Records that the log shows whole, by id. */
    std::map<std::string, Record> m_known;
};

}  // namespace Log
