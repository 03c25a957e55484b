/** Finds the values in a text that may be secrets, by the names that they stand under. */
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace Cli {

/** A value whose name is not known to be harmless; its end is the position after its last byte. */
struct FoundValue {
    std::size_t begin = 0;
    std::size_t end = 0;
    /** Whether the name is one that a token, a code or a verifier has. */
    bool isSecret = false;
    /** Whether it is a JSON value without quotes: a number. */
    bool isBare = false;
};

/**
 * Knows JSON (members and arrays, however nested), XML (elements, attributes, comments, CDATA), forms and
 * queries, header lines, and the service's own "key : NAME. value : VALUE". A text may be one line of several
 * and may be cut anywhere: what stands open at its end goes on in the next line of the same entry. Memory is
 * bounded, time is linear in the text.
 */
class ValueScanner {
public:
    /** @param entry the same for all lines of one entry; empty for a text of its own */
    std::vector<FoundValue> Scan(std::string_view text, const std::string& entry = "");

private:
    /** What is carried from one line to the next. */
    struct Context {
        /** The name that each open object or array stands under. */
        std::vector<std::string> containers;
        /** What the next value stands under. */
        std::string name;
        /** The last text: a name, when the next line begins with a colon. */
        std::string lastText;
        bool isMarkup = false;
        /** What ends the value that the line ended in: a quote, a mark of XML, or "\n" for a new entry. */
        std::string awaited;
    };

    std::size_t Resume();
    std::size_t ScanStart();
    std::size_t ScanAt(std::size_t at);
    std::size_t ScanText(std::size_t quote);
    std::size_t ScanColon(std::size_t colon);
    std::size_t ScanField(std::size_t equals);
    std::size_t ScanBearer(std::size_t at);
    std::size_t ScanMarkup(std::size_t bracket);
    std::size_t TakeUntil(const std::string& end, std::size_t begin);
    void Take(std::size_t begin, std::size_t end, std::string_view name, bool isBare = false);
    std::size_t ClosingQuote(std::size_t from) const;
    std::size_t SkipBlanks(std::size_t at) const;
    std::string_view NameBefore(std::size_t at) const;
    bool StartsAt(std::size_t at, std::string_view start) const;

    std::string_view m_text;
    std::vector<FoundValue> m_found;
    Context m_context;
    std::string m_entry;
};

}  // namespace Cli
