#include "Television/Log/Message.h"

#include <utility>

#include "Cli/Text.h"

namespace Log {

namespace {

constexpr std::size_t MOST_BYTES = 131072;
constexpr std::size_t MOST_OTHERS = 1000;
constexpr std::size_t MOST_PROCESSES = 64;

}  // namespace

std::string Message::TextFrom(std::size_t line) const {
    std::string text;
    for (; line < lines.size(); ++line) {
        text += lines[line].message;
    }
    return text;
}

void Messages::Take(const Line& line) {
    // Viewers part the lines of several logs by some that begin so.
    const bool isStray = line.tag.empty() && (!m_isService || Cli::StartsWith(line.message, "--"));
    if (isStray) {
        Message stray{{line}};
        m_onMessage(stray);
        return;
    }
    m_isService = line.tag.empty() || line.IsService();
    m_pid = line.tag.empty() ? m_pid : line.pid;
    if (!m_isService) {
        TakeOther(line);
        return;
    }
    if (m_held.size() > MOST_PROCESSES) {
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

void Messages::TakeOther(const Line& line) {
    const auto held = m_held.find(line.pid);
    if (held != m_held.end() && held->second.others.size() < MOST_OTHERS) {
        held->second.others.push_back(line);
        return;
    }
    Message other{{line}};
    m_onMessage(other);
}

bool Messages::GoesOn(const Held& held, const Line& line) {
    return !held.message.lines.empty() && held.size < MOST_BYTES &&
           (!line.HasPlace() || line.place == held.message.lines.front().place);
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
    const auto set = [](Line& line, const std::string& masked) {
        line.text = line.Head() + masked;
        line.message = masked;
    };
    for (Line& line : message.lines) {
        set(line, masker.Mask(line.message));
    }
    const std::string apart = message.TextFrom(0);
    const std::string whole = message.lines.size() == 1 ? apart : masker.Mask(apart);
    if (whole != apart) {
        message.lines.resize(1);
        set(message.lines.front(), whole);
    }
}

}  // namespace Log
