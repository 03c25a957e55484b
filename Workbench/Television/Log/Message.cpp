#include "Television/Log/Message.h"

#include <algorithm>
#include <utility>

#include "Cli/Pattern.h"
#include "Cli/Text.h"

namespace Log {

namespace {

using Text = std::string_view;

constexpr std::size_t MOST_BYTES = 131072;
constexpr std::size_t MOST_OTHERS = 1000;
constexpr std::size_t MOST_PROCESSES = 64;

/** Whether the line begins another message: at another place, maybe broken, or with what two from one place
 * both begin with, the "key:" of "key:code, value : ...". */
bool IsNext(const Line& first, const Line& line) {
    static const Cli::Pattern word(R"(^(?<word>\w{1,30} ?:))");
    static const Cli::Pattern broken(R"(^(?:\w+\.(?:cpp|h):[^>]*>?)?$)");
    if (!line.HasPlace()) {
        return !line.tag.empty() && line.message + " " != first.place && broken.Find(line.message);
    }
    if (line.place != first.place) {
        return true;
    }
    const auto begins = word.Find(line.message);
    return begins && begins["word"] == word.Find(first.message)["word"];
}

/** What a mail puts before each line that it quotes. */
Text QuoteOf(Text line) {
    return line.substr(0, std::min(line.find_first_not_of("> |"), line.size()));
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

void Unwrap(Message& message, std::size_t widest) {
    constexpr std::size_t WIDEST_MAIL = 100;
    if (message.lines.size() == 1 || widest > WIDEST_MAIL) {
        return;
    }
    std::vector<Line> whole;
    bool isWrapped = false;
    std::size_t size = 0;
    for (Line& line : message.lines) {
        // As the mail quotes the line before: a place ends with the mark of a quote, too.
        const Text quote = whole.empty() ? Text() : QuoteOf(whole.back().text);
        const bool isQuoted = Cli::StartsWith(line.text, quote);
        const Text piece = isQuoted ? Text(line.text).substr(quote.size()) : Text(line.message);
        const std::size_t word = std::min(piece.find(' '), piece.size());
        // There was no room for the next word; only one that has none itself is longer than the others.
        isWrapped = line.tag.empty() && (isWrapped || (word > 0 && size + 1 + word > widest));
        size = line.text.size();
        if (!isWrapped || whole.empty() || whole.back().tag.empty()) {
            whole.push_back(std::move(line));
            continue;
        }
        Line& begun = whole.back();
        const std::string more = (begun.text.back() == ' ' ? "" : " ") + std::string(piece);
        if (begun.HasPlace()) {
            begun.text += more;
            begun.message += more;
        } else if (begun.text.size() <= 2 * WIDEST_MAIL) {  // a place is no longer
            ReadHead(begun.text + more, begun);
        }
    }
    message.lines = std::move(whole);
}

void Mask(Message& message, const Cli::Masker& masker) {
    const std::string whole = masker.Mask(message.TextFrom(0));
    if (message.lines.size() > 1) {
        for (Line& line : message.lines) {
            Replace(line, masker.Mask(line.message));
        }
    }
    if (message.TextFrom(0) != whole) {
        message.lines.resize(1);
        Replace(message.lines.front(), whole);
    }
}

void Messages::Take(const Line& line) {
    const auto handOver = [&] {
        Message single{{line}};
        m_onMessage(single);
    };
    // Viewers part the lines of several logs by some that begin so.
    if (line.tag.empty() && (!m_isService || Cli::StartsWith(line.message, "--"))) {
        handOver();
        return;
    }
    m_isService = line.tag.empty() || line.IsService();
    m_pid = line.tag.empty() ? m_pid : line.pid;
    const auto found = m_held.find(m_pid);
    if (!m_isService) {
        const bool isHeld = found != m_held.end() && found->second.others.size() < MOST_OTHERS;
        isHeld ? found->second.others.push_back(line) : handOver();
        return;
    }
    if (found == m_held.end() && m_held.size() == MOST_PROCESSES) {
        Flush();
    }
    Held& held = m_held[m_pid];
    if (held.size >= MOST_BYTES ||
        (!held.message.lines.empty() && IsNext(held.message.lines.front(), line))) {
        HandOver(held);
    }
    held.size += line.text.size();
    held.message.lines.push_back(line);
    // Nothing of the process is to come that would tell that this is whole.
    if (line.HasPlace() && line.message == END_MESSAGE) {
        HandOver(held);
        m_held.erase(m_pid);
    }
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

void Messages::Finish() {
    m_lines.Finish();
    Flush();
}

Messages MaskedLines(const Cli::Masker* masker, std::function<void(const Line&)> onLine) {
    return Messages([masker, onLine = std::move(onLine)](Message& message) {
        // What goes on in the next lines is of the priority that the first one tells.
        const char priority = message.lines.front().tag.empty() ? '\0' : message.lines.front().priority;
        if (masker != nullptr) {
            Mask(message, *masker);
        }
        for (Line& line : message.lines) {
            line.priority = priority;
            onLine(line);
        }
    });
}

std::string MaskLog(std::string_view log, const Cli::Masker& masker) {
    std::string masked;
    Messages lines = MaskedLines(&masker, [&masked](const Line& line) { masked += line.text + "\n"; });
    lines.Feed(log);
    lines.Finish();
    return masked;
}

}  // namespace Log
