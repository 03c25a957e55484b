#include "Television/Explain/ListReader.h"

#include <json/json.h>

#include <exception>
#include <utility>

#include "Cli/Json.h"
#include "Television/Explain/Pattern.h"
#include "Util/JsonUtil.h"

namespace Explain {

namespace {

using Text = std::string_view;

constexpr std::size_t MOST_RECORDS = 2000;
constexpr std::size_t LONGEST_TEXT = 65536;

}  // namespace

void ListReader::Begin(Text id) {
    End();
    m_record.emplace();
    m_record->id = id;
}

void ListReader::Decide(Listing listing, Text services) {
    if (m_record) {
        m_record->listing = listing;
        m_record->services = services.empty() ? m_record->services : std::string(services);
    }
}

/** A deleted record's id is told, then whose device it was, then the id again when it was the last one's. */
void ListReader::TakeRemoval(Text message) {
    if (m_record) {
        m_record->listing = message != m_record->id                 ? Listing::OTHER_USERS
                            : m_record->listing == Listing::UNKNOWN ? Listing::NOT_LISTED
                                                                    : Listing::REMOVED;
    }
}

void ListReader::End() {
    if (!m_record) {
        return;
    }
    ++m_listings[m_record->listing];
    if (m_records.size() < MOST_RECORDS) {
        m_records.push_back(std::move(*m_record));
    }
    m_record.reset();
}

void ListReader::LearnNames(Text json) {
    static const Pattern object(
        R"re((?:"(?<id>(?:[^"\\]|\\.)*+)"\s*:\s*)?(?<object>\{(?:[^{}"]|"(?:[^"\\]|\\.)*+")*+\}))re");
    object.ForEach(json, [this](const Pattern::Match& found) {
        try {
            const Json::Value record = InfoSyncUtil::ParseJson(std::string(found["object"]));
            const std::string id = Cli::TextMember(record, "record_id");
            if (m_known.size() < MOST_RECORDS) {
                Record& known = m_known[id.empty() ? std::string(found["id"]) : id];
                known.name = Cli::TextMember(record, "name");
                known.address = Cli::TextMember(record, "address");
            }
        } catch (const std::exception&) {
            // No JSON after all: its name stays untold.
        }
    });
}

void ListReader::TakeListText(Text line) {
    if ((!m_text.empty() || StartsWith(line, "{")) && m_text.size() < LONGEST_TEXT) {
        m_text.append(line).append("\n");
    }
}

void ListReader::Finish(Run& run) {
    End();
    LearnNames(m_text);
    for (Record& record : m_records) {
        const Record& known = m_known[record.id];
        record.name = known.name;
        record.address = known.address;
    }
    run.records = std::move(m_records);
    run.listings.insert(m_listings.begin(), m_listings.end());
}

}  // namespace Explain
