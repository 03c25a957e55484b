#include "Television/Log/Devices.h"

#include <glib.h>
#include <json/json.h>

#include <algorithm>
#include <exception>
#include <utility>

#include "AuthData/CDeviceInfo.h"
#include "Cli/Json.h"
#include "Cli/Pattern.h"
#include "Cli/Text.h"
#include "Util/CommonUtil.h"
#include "Util/JsonUtil.h"

namespace Log {

namespace {

constexpr std::size_t MOST_RECORDS = 2000;

struct Naming {
    const char* name;
    const char* sentence;
};

/** In the order of Listing. */
constexpr Naming NAMINGS[] = {
    {"added", "listed: added"},
    {"removed", "removed from the list: deleted in the cloud"},
    {"malformed", "not listed: malformed"},
    {"paired with the set", "not listed: paired with the set"},
    {"no audio sink", "not listed: "},
    {"kept for other users", "listed: kept for other users"},
    {"deleted in the cloud", "deleted in the cloud: it was not this user's on the list"},
    {"brought up to date", "listed: brought up to date"},
    {"not told", "what became of it is not told"},
};

const Naming& NamingOf(Listing listing) {
    return NAMINGS[static_cast<std::size_t>(listing)];
}

}  // namespace

std::vector<std::string> ServicesOf(const std::string& uuids) {
    std::vector<std::string> services = CommonUtil::SplitString(uuids);
    std::replace(services.begin(), services.end(), std::string(CDeviceInfo::AUDIO_SINK_UUID),
                 std::string("audio sink"));
    return services;
}

std::string NoSinkWords(const std::string& uuids) {
    const std::string lower = Cli::Taken(g_ascii_strdown(uuids.c_str(), -1));
    if (lower.find(CDeviceInfo::AUDIO_SINK_UUID) != std::string::npos) {
        return "its audio sink is not written as the service reads it: in lower case, separated by commas "
               "alone";
    }
    return uuids.empty() ? "it offers no services"
                         : "no audio sink among its services: " + Cli::Join(ServicesOf(uuids), ", ");
}

void Devices::Begin(std::string_view id) {
    End();
    m_record = Record{std::string(id)};
}

void Devices::Decide(Listing listing) {
    if (m_record) {
        m_record->listing = listing;
    }
}

void Devices::TakeServices(std::string_view uuids) {
    if (m_record) {
        m_record->services = uuids;
        Json::Value record;
        record[CDeviceInfo::UUIDS] = m_record->services;
        m_record->listing = CDeviceInfo::IsAudioSink(record) ? Listing::UNKNOWN : Listing::NO_SINK;
    }
}

void Devices::TakeRemoval(std::string_view message) {
    if (!m_record) {
        return;
    }
    // The id is told, then whose device it was, then the id again where it was nobody else's.
    const bool isBegun = m_record->listing != Listing::UNKNOWN;
    if (message == m_record->id) {
        m_record->listing = isBegun ? Listing::REMOVED : Listing::NOT_LISTED;
    } else if (isBegun) {
        m_record->listing = Listing::OTHER_USERS;
    }
}

void Devices::End() {
    if (!m_record) {
        return;
    }
    ++m_counts[m_record->listing];
    if (m_records.size() < MOST_RECORDS) {
        m_records.push_back(std::move(*m_record));
    }
    m_record.reset();
}

void Devices::TakeSkipped(std::size_t count) {
    m_counts[Listing::SKIPPED] = std::max(m_counts[Listing::SKIPPED], count);
}

void Devices::LearnNames(std::string_view json) {
    // Innermost ones, each with the name that it may have.
    static const Cli::Pattern objects(
        R"re((?:"(?<name>(?:[^"\\]++|\\.)*+)"\s*:\s*)?(?<object>\{(?:[^{}"]++|"(?:[^"\\]++|\\.)*+")*+\}))re");
    objects.ForEach(json, [this](const Cli::Pattern::Match& match) {
        try {
            const Json::Value record = InfoSyncUtil::ParseJson(std::string(match["object"]));
            const std::string id = Cli::TextMember(record, CDeviceInfo::RECORD_ID);
            if (record.isMember(CDeviceInfo::ADDRESS) && m_names.size() < MOST_RECORDS) {
                m_names[id.empty() ? std::string(match["name"]) : id] = {
                    Cli::TextMember(record, CDeviceInfo::NAME),
                    Cli::TextMember(record, CDeviceInfo::ADDRESS)};
            }
        } catch (const std::exception&) {
            // No JSON after all: its name stays untold.
        }
    });
}

Json::Value Devices::Records() const {
    std::vector<Record> records = m_records;
    if (m_record) {
        const Listing listing = m_record->listing;
        const bool isOpen = listing == Listing::NOT_LISTED || listing == Listing::OTHER_USERS;
        records.push_back({m_record->id, m_record->services, isOpen ? Listing::UNKNOWN : listing});
    }
    return Cli::JsonArray(records, [this](const Record& record) {
        const auto known = m_names.find(record.id);
        const auto& [name, address] = known == m_names.end() ? Name() : known->second;
        const bool isOdd = !address.empty() && !Cli::IsBluetoothAddress(address).empty();
        Json::Value json;
        json["id"] = record.id;
        json["name"] = Cli::TextOrNull(name);
        json["address"] = Cli::TextOrNull(address);
        json["services"] = Cli::TextOrNull(record.services);
        json["listing"] = NamingOf(record.listing).name;
        json["words"] = NamingOf(record.listing).sentence +
                        (record.listing == Listing::NO_SINK ? NoSinkWords(record.services) : "") +
                        (isOdd ? "; its address is no Bluetooth address" : "");
        return json;
    });
}

std::vector<std::string> Devices::Counts() const {
    std::vector<std::string> counts;
    for (const auto& [listing, count] : m_counts) {
        if (listing != Listing::UNKNOWN) {
            counts.push_back(std::to_string(count) + " " + NamingOf(listing).name);
        }
    }
    return counts;
}

}  // namespace Log
