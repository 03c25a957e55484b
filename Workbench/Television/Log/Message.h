/** Messages put together again, however a logger between cut them into lines, and their secrets masked. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Cli/Masker.h"
#include "Television/Log/Line.h"

namespace Log {

/** The lines of one message, or one line of another program. */
struct Message {
    std::vector<Line> lines;

    /** The text from a line on, put together. */
    std::string TextFrom(std::size_t line) const;
};

/** Joins the lines that a mail program broke at a blank. @param widest bytes of the log's longest line with a
 * head, as far as it is read */
void Unwrap(Message& message, std::size_t widest);

/** Masks the message as a whole: one with a secret that stands on several of its lines becomes one line. */
void Mask(Message& message, const Cli::Masker& masker);

/**
 * Cuts a log into messages. What a process logs comes out in its order; a message comes when the next one of
 * its process begins.
 */
class Messages {
public:
    explicit Messages(std::function<void(Message&)> onMessage) : m_onMessage(std::move(onMessage)) {}
    Messages(const Messages&) = delete;
    Messages& operator=(const Messages&) = delete;

    /** Takes a piece of the log, however it was cut. */
    void Feed(std::string_view piece) {
        m_lines.Feed(piece);
    }
    void Take(const Line& line);
    /** Hands over what is held, as nothing more is to come for a while. */
    void Flush();
    void Finish();

    const LineReader& Lines() const {
        return m_lines;
    }

private:
    /** A message of the service that may go on, and what its process logged under other tags meanwhile. */
    struct Held {
        Message message;
        std::size_t size = 0;
        std::vector<Line> others;
    };
    void HandOver(Held& held);

    std::function<void(Message&)> m_onMessage;
    LineReader m_lines{[this](const Line& line) { Take(line); }};
    std::map<std::int64_t, Held> m_held;
    /** The process of the last line that had a head, and whether that was of the service. */
    std::int64_t m_pid = 0;
    bool m_isService = false;
};

/** A log as people are shown it: line by line, masked. @param masker null for one with its secrets */
Messages MaskedLines(const Cli::Masker* masker, std::function<void(const Line&)> onLine);

/** A whole log, masked. */
std::string MaskLog(std::string_view log, const Cli::Masker& masker);

}  // namespace Log
