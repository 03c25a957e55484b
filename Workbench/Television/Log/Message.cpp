#include "Television/Log/Message.h"

#include <algorithm>
#include <utility>

#include "Cli/Pattern.h"
#include "Cli/Text.h"

namespace Log {

namespace {

constexpr std::size_t MOST_BYTES = 131072;
constexpr std::size_t MOST_OTHERS = 1000;
constexpr std::size_t MOST_PROCESSES = 64;

/** "key:" of "key:code, value : ...": what two messages from one place both begin with. */
std::string_view FirstWord(const std::string& message) {
    static const Cli::Pattern pattern(R"(^(?<word>\w{1,30} ?:))");
    return pattern.Find(message)["word"];
}

void Replace(Line& line, const std::string& message) {
    if (message == line.message) {
        return;
    }
    const std::size_t head = line.text.size() - std::min(line.text.size(), line.message.size());
    // What is no end of its line stands there in another form, with its secrets.
    const bool isEnd = line.text.compare(head, std::string::npos, line.message) == 0;
    line.text = (isEnd ? line.text.substr(0, head) : line.place) + message;
    line.message = message;
}

}  // namespace

std::string Message::TextFrom(std::size_t line) const {
    std::string text;
    for (; line < lines.size(); ++line) {
        text += lines[line].message;
    }
    return text;
}

void Messages::Take(const Line& line) {
    const auto handOver = [this](const Line& single) {
        Message message{{single}};
        m_onMessage(message);
    };
    // Viewers part the lines of several logs by some that begin so.
    const bool isStray = line.tag.empty() && (!m_isService || Cli::StartsWith(line.message, "--"));
    if (isStray) {
        handOver(line);
        return;
    }
    m_isService = line.tag.empty() || line.IsService();
    m_pid = line.tag.empty() ? m_pid : line.pid;
    const auto found = m_held.find(m_pid);
    if (!m_isService) {
        const bool isHeld = found != m_held.end() && found->second.others.size() < MOST_OTHERS;
        isHeld ? found->second.others.push_back(line) : handOver(line);
        return;
    }
    if (found == m_held.end() && m_held.size() == MOST_PROCESSES) {
        Flush();
    }
    Held& held = m_held[m_pid];
    if (!GoesOn(held, line)) {
        HandOver(held);
    }
    held.size += line.text.size();
    held.message.lines.push_back(line);
    // It never goes on, and a run's last line is not to be waited for.
    if (line.HasPlace() && Cli::StartsWith(line.message, "<<Not Error>>")) {
        HandOver(held);
        m_held.erase(m_pid);
    }
}

bool Messages::GoesOn(const Held& held, const Line& line) {
    const auto& lines = held.message.lines;
    if (lines.empty() || held.size >= MOST_BYTES) {
        return false;
    }
    const bool isOfPlace = line.HasPlace() && line.place == lines.front().place;
    const std::string_view word = isOfPlace ? FirstWord(line.message) : "";
    return !line.HasPlace() || (isOfPlace && (word.empty() || word != FirstWord(lines.front().message)));
}

void Messages::HandOver(Held& held) {
    Held done = std::exchange(held, {});
    if (!done.message.lines.empty()) {
        m_onMessage(done.message);
    }
    for (Line& line : done.others) {
        Message other{{std::move(line)}};
        m_onMessage(other);
    }
}

void Messages::Flush() {
    for (auto& [pid, held] : m_held) {
        HandOver(held);
    }
    m_held.clear();
}

void Mask(Message& message, const Cli::Masker& masker) {
    const std::string whole = message.lines.size() > 1 ? masker.Mask(message.TextFrom(0)) : "";
    std::string apart;
    for (Line& line : message.lines) {
        Replace(line, masker.Mask(line.message));
        apart += line.message;
    }
    if (message.lines.size() > 1 && apart != whole) {
        message.lines.resize(1);
        Replace(message.lines.front(), whole);
    }
}

MaskedLog::MaskedLog(const Cli::Masker* masker, std::function<void(const Line&)> onLine)
    : m_messages([masker, onLine = std::move(onLine)](Message& message) {
          // What goes on in the next lines is of the priority that the first one tells.
          const char priority = message.lines.front().tag.empty() ? '\0' : message.lines.front().priority;
          if (masker != nullptr) {
              Mask(message, *masker);
          }
          for (Line& line : message.lines) {
              line.priority = priority;
              onLine(line);
          }
      }),
      m_lines([this](const Line& line) { m_messages.Take(line); }) {}

void MaskedLog::Finish() {
    m_lines.Finish();
    m_messages.Flush();
}

std::string MaskLog(std::string_view log, const Cli::Masker& masker) {
    std::string masked;
    MaskedLog lines(&masker, [&masked](const Line& line) { masked += line.text + "\n"; });
    lines.Feed(log);
    lines.Finish();
    return masked;
}

}  // namespace Log
