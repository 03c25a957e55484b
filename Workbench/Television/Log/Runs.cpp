#include "Television/Log/Runs.h"

#include <algorithm>
#include <utility>

#include "Cli/Text.h"
#include "Util/Log.h"

namespace Log {

namespace {

constexpr std::size_t MOST_RUNS_AT_ONCE = 16;
constexpr char START_MESSAGE[] = "<<Not Error>>Start main loop";

}  // namespace

Runs::Runs(bool keepsLines, std::function<void(Story&)> onRun)
    : m_lines([this](const Line& line) { m_messages.Take(line); }),
      m_messages([this](Message& message) { Take(message); }),
      m_keepsLines(keepsLines),
      m_onRun(std::move(onRun)) {}

void Runs::Feed(std::string_view piece) {
    m_lines.Feed(piece);
}

void Runs::Finish() {
    m_lines.Finish();
    m_messages.Flush();
    while (!m_readers.empty()) {
        End(m_readers.begin()->first);
    }
}

std::string Runs::Remark() const {
    if (m_backward > m_forward) {
        return "the log goes from newest to oldest, so little of it can be told: turn it round first (tac)";
    }
    const std::size_t count = m_lines.unreadableCount;
    return count == 0 ? ""
                      : Cli::Count(count, "line") + (count == 1 ? " has" : " have") + " the tag " +
                            InfoSyncLog::TAG + " in a form that cannot be read, the first is line " +
                            std::to_string(m_lines.firstUnreadable);
}

void Runs::Take(Message& message) {
    const Line& line = message.lines.front();
    RunReader* reader = ReaderOf(line);
    if (reader == nullptr) {
        return;
    }
    if (line.IsService() && line.moment) {
        m_forward += m_moment && *line.moment > *m_moment ? 1 : 0;
        m_backward += m_moment && *line.moment < *m_moment ? 1 : 0;
        m_moment = line.moment;
    }
    const std::int64_t pid = line.pid;
    // Before anything is read out of it: nothing that is told can hold a secret.
    Mask(message, m_masker);
    reader->Take(message);
    if (reader->SawEnd()) {
        End(pid);
    }
}

/** The run that the line belongs to, begun where there is none; null for a line of no run. */
RunReader* Runs::ReaderOf(const Line& line) {
    if (line.tag.empty()) {
        return nullptr;
    }
    if (line.HasPlace() && line.message == START_MESSAGE) {
        End(line.pid);
    }
    const auto found = m_readers.find(line.pid);
    if (found != m_readers.end() || !line.HasPlace()) {
        return found == m_readers.end() ? nullptr : &found->second;
    }
    if (m_readers.size() == MOST_RUNS_AT_ONCE) {
        const auto oldest = std::min_element(
            m_readers.begin(), m_readers.end(),
            [](const auto& a, const auto& b) { return a.second.LastLine() < b.second.LastLine(); });
        End(oldest->first);
    }
    return &m_readers.try_emplace(line.pid, ++m_count, line.pid, m_keepsLines).first->second;
}

void Runs::End(std::int64_t pid) {
    const auto reader = m_readers.find(pid);
    if (reader == m_readers.end()) {
        return;
    }
    Story run = reader->second.Finish();
    m_readers.erase(reader);
    m_ended.emplace(run.number, std::move(run));
    for (auto next = m_ended.find(m_handedOver + 1); next != m_ended.end();
         next = m_ended.find(m_handedOver + 1)) {
        m_onRun(next->second);
        m_ended.erase(next);
        ++m_handedOver;
    }
    if (m_ended.size() > MOST_RUNS_AT_ONCE) {
        // One that goes on while so many begin and end was killed.
        const auto stuck = std::find_if(m_readers.begin(), m_readers.end(), [this](const auto& other) {
            return other.second.Number() == m_handedOver + 1;
        });
        End(stuck->first);
    }
}

}  // namespace Log
