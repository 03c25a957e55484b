#include "Television/Explain/Explainer.h"

#include <algorithm>
#include <string>
#include <utility>

namespace Explain {

namespace {

constexpr std::size_t MOST_RUNS_AT_ONCE = 32;
constexpr char START_MESSAGE[] = "<<Not Error>>Start main loop";

/** For a form without priorities: what is known well is at W or above, the traced calls are at D. */
char GuessPriority(const LogLine& line) {
    return FindKnownLine(line.message) != nullptr ? 'E' : line.file == "Log.h" ? 'D' : 'I';
}

}  // namespace

Explainer::Explainer(std::function<void(const Run&)> onRun, LogForms::Handler onLine)
    : m_forms([this](const LogLine& line) { TakeLine(line); }),
      m_onRun(std::move(onRun)),
      m_onLine(std::move(onLine)) {}

void Explainer::Feed(std::string_view piece) {
    m_forms.Feed(piece);
}

void Explainer::Finish() {
    m_forms.Finish();
    while (!m_readers.empty()) {
        End(m_readers.begin()->first);
    }
}

void Explainer::TakeLine(const LogLine& line) {
    // Viewers part the lines of several logs by some that begin so.
    const bool isSeparator = line.continues && StartsWith(line.message, "--");
    RunReader* reader = ReaderOf(line);
    if (reader == nullptr || isSeparator) {
        return;
    }
    // Before anything is read out of it: nothing that is told can hold a secret.
    LogLine masked = line;
    masked.message = m_masker.Mask(line.message, std::to_string(line.pid) + line.file + line.function);
    if (line.priority == '\0') {
        masked.priority = GuessPriority(line);
    }
    if (line.tag == SERVICE_TAG) {
        m_onLine(masked);
    }
    reader->Take(masked);
    if (reader->SawEnd()) {
        End(line.pid);
    }
}

/** The run that the line belongs to, begun where there is none; null for a line of no run. */
RunReader* Explainer::ReaderOf(const LogLine& line) {
    const bool isService = line.tag == SERVICE_TAG;
    if (isService && line.message == START_MESSAGE) {
        End(line.pid);
    }
    const auto found = m_readers.find(line.pid);
    if (found != m_readers.end() || !isService || line.file.empty()) {
        return found == m_readers.end() ? nullptr : &found->second;
    }
    if (m_readers.size() == MOST_RUNS_AT_ONCE) {
        const auto oldest = std::min_element(
            m_readers.begin(), m_readers.end(),
            [](const auto& a, const auto& b) { return a.second.LastLine() < b.second.LastLine(); });
        End(oldest->first);
    }
    return &m_readers.try_emplace(line.pid, ++m_count, line.pid).first->second;
}

void Explainer::End(std::int64_t pid) {
    const auto reader = m_readers.find(pid);
    if (reader != m_readers.end()) {
        m_onRun(reader->second.Finish());
        m_readers.erase(reader);
    }
}

}  // namespace Explain
