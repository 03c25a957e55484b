/** Gathers what became of each record while the device list was brought up to date. */
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "Television/Explain/Run.h"

namespace Explain {

class ListReader {
public:
    /** A record's turn; what follows is of that one. */
    void Begin(std::string_view id);
    void Decide(Listing listing, std::string_view services = {});
    void TakeRemoval(std::string_view message);

    /** Takes names and addresses from the objects that are there whole: records, or the list's members. */
    void LearnNames(std::string_view json);
    /** A line of what UpdateDeviceList logs, among which is the list. */
    void TakeListText(std::string_view line);

    /** Hands the records over. */
    void Finish(Run& run);

private:
    void End();

    std::optional<Record> m_record;
    std::vector<Record> m_records;
    std::map<Listing, std::size_t> m_listings;
    /** Records that the log shows whole, by id. */
    std::map<std::string, Record> m_known;
    /** The list as it is logged. */
    std::string m_text;
};

}  // namespace Explain
