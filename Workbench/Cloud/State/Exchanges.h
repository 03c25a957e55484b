/** What was asked and answered, in state/exchanges.jsonl: a line of JSON each, the newest last. */
#pragma once

#include <json/json.h>

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "Cli/Display.h"
#include "Cloud/State/Folder.h"

namespace LocalCloud {

// HTTP's.
inline constexpr char LINE_END[] = "\r\n";
inline constexpr char HEADERS_END[] = "\r\n\r\n";

/**
 * Takes a request or an answer apart, into the "headers" as the lines that came and the "body". Of a longer
 * body only the beginning is kept, and "body_bytes" says how long it was.
 */
void TakeApart(Json::Value& entry, const std::string& message);

inline constexpr std::size_t LONGEST_KEPT_BODY = 65536;

/** Exchanges are numbered from 1, for as long as the file is there. Safe from any thread, of one process at a
 * time. */
class ExchangeLog {
public:
    /** The file's size; past it the older half goes. */
    static constexpr std::size_t MOST_BYTES = 4U << 20U;

    /** Ends what a killed server wrote of a line. @throws std::runtime_error when it cannot be read or
     * written
     */
    explicit ExchangeLog(const Folder& folder);

    /**
     * Keeps it, for the owner's eyes alone: it holds tokens.
     * @param exchange gets its number and time, also where it could not be written
     * @throws std::runtime_error that says why it is missing in the file
     */
    void Add(Json::Value& exchange);

private:
    void Append(const std::string& line) const;

    std::string m_path;
    std::mutex m_mutex;
    std::int64_t m_number = 0;
};

/** Those that came after the one of this number, oldest first; a damaged line is left out. */
std::vector<Json::Value> ReadExchanges(const Folder& folder, std::int64_t after);

/** When, what, the status, what was decided and for whom, in one line without its end. */
std::string ExchangeLine(const Json::Value& exchange, const Cli::Style& style);

}  // namespace LocalCloud
