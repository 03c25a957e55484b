#include "Television/Explain/KnownLines.h"

#include <algorithm>

#include "KnownLinesTable.h"
#include "Television/Explain/Pattern.h"

namespace Explain {

namespace {

std::string WithoutMarkup(std::string_view markdown) {
    std::string text(markdown);
    text.erase(std::remove(text.begin(), text.end(), '`'), text.end());
    return text;
}

std::vector<KnownLine> ReadTable() {
    static const Pattern row(R"(\| (?<shown>`[^|]*) \| (?<meaning>[^|]*) \| (?<remedy>[^|]*) \|)");
    static const Pattern start(R"(`(?<start>[^`]*?)(?: N\b[^`]*| ?\.\.\.[^`]*)?`)");
    std::vector<KnownLine> table;
    row.ForEach(KNOWN_LINES_TABLE, [&table](const Pattern::Match& cells) {
        KnownLine& known = table.emplace_back();
        known.meaning = WithoutMarkup(cells["meaning"]);
        known.remedy = WithoutMarkup(cells["remedy"]);
        start.ForEach(cells["shown"],
                      [&known](const Pattern::Match& text) { known.starts.emplace_back(text["start"]); });
    });
    return table;
}

}  // namespace

bool KnownLine::IsFault() const {
    return !StartsWith(remedy, "nothing");
}

const KnownLine* FindKnownLine(std::string_view message) {
    static const std::vector<KnownLine> table = ReadTable();
    const std::string_view cause = Cause(message);
    const KnownLine* found = nullptr;
    std::size_t longest = 0;
    for (const KnownLine& known : table) {
        for (const std::string& start : known.starts) {
            const bool fits = StartsWith(message, start) || StartsWith(cause, Cause(start));
            const std::size_t length = Cause(start).size();
            if (fits && length > longest) {
                found = &known;
                longest = length;
            }
        }
    }
    return found;
}

std::string_view Cause(std::string_view message) {
    for (const std::string_view start : {"exception : ", "Exception : "}) {
        if (StartsWith(message, start)) {
            message.remove_prefix(start.size());
        }
    }
    return message;
}

}  // namespace Explain
