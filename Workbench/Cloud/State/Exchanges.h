/** What was asked and answered, in state/exchanges.jsonl: a line of JSON each, the newest last. */
#pragma once

#include <json/json.h>

#include <cstdint>
#include <string>
#include <vector>

#include "Cli/Display.h"
#include "Cloud/State/Folder.h"

namespace LocalCloud {

// HTTP's.
inline constexpr char LINE_END[] = "\r\n";
inline constexpr char HEADERS_END[] = "\r\n\r\n";

/** Of a longer body only the beginning is kept. */
inline constexpr std::size_t LONGEST_KEPT_BODY = 65536;

/** Exchanges are numbered from 1, for as long as the file is there. One process and thread at a time. */
class ExchangeLog {
public:
    /** The file's size; past it the older half goes. */
    static constexpr std::size_t MOST_BYTES = 4U << 20U;

    /** @throws std::runtime_error when it cannot be read */
    explicit ExchangeLog(const Folder& folder);

    /**
     * Keeps it, for the owner's eyes alone: it holds tokens.
     * @param exchange what is known beside the two messages, which are put into it
     * @throws std::runtime_error that says why it is missing in the file
     */
    void Add(Json::Value& exchange, const std::string& request, const std::string& answer);

private:
    std::string m_path;
    std::int64_t m_number = 0;
    /** Whether the last line has no end, since the disk was full or the server was killed. */
    bool m_isTorn = false;
};

/** Those that came after the one of this number, oldest first; a damaged line is left out. */
std::vector<Json::Value> ReadExchanges(const Folder& folder, std::int64_t after);

/** When, what, the status, what was decided and for whom, in one line without its end. */
std::string ExchangeLine(const Json::Value& exchange, const Cli::Style& style);

}  // namespace LocalCloud
