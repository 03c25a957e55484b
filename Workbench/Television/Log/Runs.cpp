#include "Television/Log/Runs.h"

#include <algorithm>
#include <utility>

#include "Cli/Text.h"
#include "Util/Log.h"

namespace Log {

namespace {

// One that goes on while so many begin was killed.
constexpr std::size_t MOST_UNTOLD = 32;
constexpr char CALL_TRACKER[] = "Log.h";

}  // namespace

Runs::Runs(bool keepsLines, std::function<void(Story&)> onStory)
    : m_keepsLines(keepsLines), m_onStory(std::move(onStory)) {}

void Runs::Finish() {
    m_messages.Finish();
    while (!m_runs.empty()) {
        TellFirst();
    }
}

void Runs::TellFirst() {
    Story story = Tell(m_runs.front());
    m_runs.pop_front();
    m_onStory(story);
}

std::string Runs::Remark() const {
    if (m_backward > m_forward) {
        return "the log goes from newest to oldest, so little of it can be told: turn it round first (tac)";
    }
    const std::size_t count = m_messages.Lines().unreadableCount;
    return count == 0 ? ""
                      : Cli::Count(count, "line") + (count == 1 ? " has" : " have") + " the tag " +
                            InfoSyncLog::TAG + " in a form that cannot be read, the first is line " +
                            std::to_string(m_messages.Lines().firstUnreadable);
}

void Runs::Take(Message& message) {
    for (const Line& each : message.lines) {
        m_widest = each.tag.empty() ? m_widest : std::max(m_widest, each.text.size());
    }
    Unwrap(message, m_widest);
    const Line& line = message.lines.front();
    Run* run = line.tag.empty() ? nullptr : RunOf(line);
    if (run == nullptr) {
        return;
    }
    if (line.IsService() && line.moment) {
        m_forward += m_moment && *line.moment > *m_moment ? 1 : 0;
        m_backward += m_moment && *line.moment < *m_moment ? 1 : 0;
        m_moment = line.moment;
    }
    // Before anything is read out of it: nothing that is told can hold a secret. The lines of the call
    // tracker, most of a log at D, have none: they name a function.
    if (line.File() != CALL_TRACKER || message.lines.size() > 1) {
        Mask(message, m_masker);
    }
    run->Take(message);
    while (!m_runs.empty() && (m_runs.front().isOver || m_runs.size() > MOST_UNTOLD)) {
        TellFirst();
    }
}

/** The run that the line belongs to, begun where there is none; null for a line of no run. */
Run* Runs::RunOf(const Line& line) {
    const auto found = std::find_if(m_runs.begin(), m_runs.end(),
                                    [&line](const Run& run) { return run.pid == line.pid && !run.isOver; });
    const bool isStart = line.HasPlace() && line.message == START_MESSAGE;
    if (found != m_runs.end() && !isStart) {
        return &*found;
    }
    if (found != m_runs.end()) {
        found->isOver = true;
    }
    return line.HasPlace() ? &m_runs.emplace_back(++m_count, line.pid, m_keepsLines) : nullptr;
}

}  // namespace Log
