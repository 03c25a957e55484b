/** The traced calls of a log as Chrome trace events, for the viewers that read those. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <ostream>
#include <string>
#include <vector>

#include "Television/Explain/LogForms.h"

namespace Explain {

class Trace {
public:
    /** @param out gets the events as they come; not owned */
    explicit Trace(std::ostream& out);

    /** Takes a line of the service's; one that is not of a traced call has no event. */
    void Take(const LogLine& line);
    void Finish();

    std::size_t EventCount() const {
        return m_count;
    }

private:
    struct Process {
        /** In microseconds: what the log's clock said last, what is added to it, and the last event's time.
         */
        std::int64_t clock = 0;
        std::int64_t offset = 0;
        std::int64_t now = 0;
        /** The calls under way, outermost first. */
        std::vector<std::string> calls;
    };

    void Write(const LogLine& line, const char* phase, std::int64_t time, const std::string& call);

    std::ostream& m_out;
    std::size_t m_count = 0;
    std::map<std::int64_t, Process> m_processes;
};

}  // namespace Explain
