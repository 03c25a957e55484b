/** From a log to the runs in it. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "Cli/Masker.h"
#include "Television/Log/Line.h"
#include "Television/Log/Message.h"
#include "Television/Log/RunReader.h"

namespace Log {

class Runs {
public:
    /**
     * @param keepsLines whether the runs get their lines
     * @param onRun gets each run, in the order in which they began
     */
    Runs(bool keepsLines, std::function<void(Story&)> onRun);

    /** Takes a piece of the log, however it was cut. */
    void Feed(std::string_view piece);
    void Finish();

    /** What is odd about the log as a whole, for people; empty for nothing. */
    std::string Remark() const;

private:
    void Take(Message& message);
    RunReader* ReaderOf(const Line& line);
    void End(std::int64_t pid);

    LineReader m_lines;
    Messages m_messages;
    Cli::Masker m_masker;
    bool m_keepsLines;
    std::function<void(Story&)> m_onRun;
    std::size_t m_count = 0;
    /** Runs under way, by process; those that have ended, by number. */
    std::map<std::int64_t, RunReader> m_readers;
    std::map<std::size_t, Story> m_ended;
    std::size_t m_handedOver = 0;
    /** How often the time went on, and back, from one line to the next. */
    std::size_t m_forward = 0;
    std::size_t m_backward = 0;
    std::optional<std::int64_t> m_moment;
};

}  // namespace Log
