/** From a log to the stories of the runs in it. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <string>

#include "Cli/Masker.h"
#include "Television/Log/Line.h"
#include "Television/Log/Message.h"
#include "Television/Log/Run.h"
#include "Television/Log/Story.h"

namespace Log {

class Runs {
public:
    /**
     * @param keepsLines whether the stories get their lines, for a page
     * @param onStory gets each run's, in the order in which the runs began
     */
    Runs(bool keepsLines, std::function<void(Story&)> onStory);

    /** Takes a piece of the log, however it was cut. */
    void Feed(std::string_view piece) {
        m_messages.Feed(piece);
    }
    void Finish();

    /** What is odd about the log as a whole, for people; empty for nothing. */
    std::string Remark() const;

private:
    void Take(Message& message);
    Run* RunOf(const Line& line);
    void TellFirst();

    Messages m_messages{[this](Message& message) { Take(message); }};
    Cli::Masker m_masker;
    bool m_keepsLines;
    std::function<void(Story&)> m_onStory;
    std::size_t m_count = 0;
    /** Bytes of the longest line with a head. */
    std::size_t m_widest = 0;
    /** Those that are not told yet, in the order in which they began. */
    std::list<Run> m_runs;
    /** How often the time went on, and back, from one line to the next. */
    std::size_t m_forward = 0;
    std::size_t m_backward = 0;
    Moment m_moment;
};

}  // namespace Log
