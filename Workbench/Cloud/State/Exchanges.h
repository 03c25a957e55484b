/** What was asked and answered: remembers the last exchanges, and records all of them where that is wanted.
 * */
#pragma once

#include <json/json.h>

#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <string>

#include "Cloud/Server/Console.h"
#include "Cloud/State/Faults.h"

namespace LocalCloud {

/** What is known of one request and its answer. */
struct Exchange {
    std::string method;
    std::string target;
    int status = 0;
    std::string decided;
    std::string login;
    std::optional<Fault> fault;
    /** Whether the connection must not be used again. */
    bool closes = false;
    /** The bytes as they came, and as they were meant: a fault cuts or delays them later. */
    std::string request;
    std::string answer;
};

/** Appends lines to a file that may run out of room. Safe from any thread. */
class Recorder {
public:
    /** Makes the file where there is none, for its owner alone: it will hold tokens. @throws
     * std::runtime_error */
    Recorder(std::string path, Console& console);
    ~Recorder();
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;

    /** Leaves out, and says so once, what cannot be written; goes on with the next line that can. */
    void Append(const std::string& line);

private:
    std::string m_path;
    Console& m_console;
    int m_file;
    std::mutex m_mutex;
    std::int64_t m_missing = 0;
};

/** Safe from any thread. */
class ExchangeLog {
public:
    static constexpr std::size_t KEPT = 1000;
    /** In bytes; of a longer body only the beginning is kept, and "body_bytes" says how long it was. A
     * recording has it whole. */
    static constexpr std::size_t LONGEST_BODY = 65536;

    /** The recorder may be null. */
    explicit ExchangeLog(Recorder* recorder) : m_recorder(recorder) {}

    /** @return what is kept of it: an object as in recordings, with its "number" */
    Json::Value Add(const Exchange& exchange);

    /** What is kept and came after the exchange of this number (they are counted from 1): an array, oldest
     * first. */
    Json::Value After(std::int64_t number) const;

private:
    Recorder* m_recorder;
    mutable std::mutex m_mutex;
    std::int64_t m_count = 0;
    std::deque<Json::Value> m_kept;
};

}  // namespace LocalCloud
