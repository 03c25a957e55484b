/** Remembers the last exchanges, and records all of them where that is wanted. Safe from any thread. */
#pragma once

#include <json/json.h>

#include <cstdint>
#include <deque>
#include <mutex>
#include <string>

#include "Cloud/Server/Exchange.h"
#include "Cloud/Server/Recorder.h"

namespace LocalCloud {

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

    /**
     * What is kept and came after the exchange of this number (they are counted from 1): a JSON array of
     * objects, oldest first.
     */
    std::string After(std::int64_t number) const;

private:
    Recorder* m_recorder;
    mutable std::mutex m_mutex;
    std::int64_t m_count = 0;
    std::deque<std::string> m_kept;
};

}  // namespace LocalCloud
