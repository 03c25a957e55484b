#include "Television/Log/Message.h"

#include <algorithm>
#include <utility>

#include "Cli/Text.h"

namespace Log {

namespace {

constexpr std::size_t MOST_BYTES = 131072;
constexpr std::size_t MOST_OTHERS = 1000;
constexpr std::size_t MOST_PROCESSES = 64;

/** A part of a text, which begins there, with what is in the places abbreviated. */
std::string Masked(std::string_view part, std::size_t begin, std::vector<Cli::Place> places) {
    std::sort(places.begin(), places.end(), [](const auto& a, const auto& b) { return a.begin < b.begin; });
    std::string masked;
    std::size_t shown = 0;
    for (std::size_t i = 0; i < places.size();) {
        Cli::Place place = places[i];
        for (++i; i < places.size() && places[i].begin < place.end; ++i) {
            place.end = std::max(place.end, places[i].end);
        }
        if (place.begin >= begin && place.end <= begin + part.size()) {
            masked += part.substr(shown, place.begin - begin - shown);
            masked += Cli::Abbreviate(std::string(part.substr(place.begin - begin, place.end - place.begin)));
            shown = place.end - begin;
        }
    }
    return masked.append(part.substr(shown));
}

void Replace(Line& line, const std::string& message) {
    const std::string_view text = line.text;
    const bool isEnd =
        text.size() >= line.message.size() && text.substr(text.size() - line.message.size()) == line.message;
    // What is no end of its line stands there in another form, with its secrets.
    line.text = message == line.message ? line.text : (isEnd ? line.Head() : line.place) + message;
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
    const std::string whole = message.TextFrom(0);
    std::vector<Cli::Place> places = masker.Find(whole);
    std::size_t begin = 0;
    // What one line alone shows is no less a secret.
    for (std::size_t i = 0; message.lines.size() > 1 && i < message.lines.size(); ++i) {
        for (const Cli::Place& place : masker.Find(message.lines[i].message)) {
            places.push_back({begin + place.begin, begin + place.end});
        }
        begin += message.lines[i].message.size();
    }
    if (places.empty()) {
        return;
    }
    begin = 0;
    const auto isAcross = [&begin](const Cli::Place& place) {
        return place.begin < begin && place.end > begin;
    };
    bool isSplit = false;
    for (const Line& line : message.lines) {
        isSplit = isSplit || std::any_of(places.begin(), places.end(), isAcross);
        begin += line.message.size();
    }
    begin = 0;
    message.lines.resize(isSplit ? 1 : message.lines.size());
    for (Line& line : message.lines) {
        const std::size_t size = isSplit ? whole.size() : line.message.size();
        Replace(line, Masked(std::string_view(whole).substr(begin, size), begin, places));
        begin += size;
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
