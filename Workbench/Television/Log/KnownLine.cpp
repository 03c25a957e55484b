#include "Cli/Text.h"
#include "Television/Log/Table.h"

namespace Log {

using Text = std::string_view;

Text WithoutCatch(Text message) {
    for (const Text start : {"exception : ", "Exception : "}) {
        if (Cli::StartsWith(message, start)) {
            message.remove_prefix(start.size());
        }
    }
    return message;
}

const KnownLine* FindKnownLine(const Line& line) {
    constexpr std::size_t LONGEST = 1000;
    const Text cause = WithoutCatch(line.message);
    const char plain = line.message.empty() ? '\0' : line.message.front();
    const char caught = cause.empty() ? '\0' : cause.front();
    const KnownLine* found = nullptr;
    std::size_t best = 0;
    for (const KnownLine& known : KnownLines()) {
        if (!known.start.empty() && known.start.front() != plain && known.start.front() != caught) {
            continue;
        }
        const bool isOfPlace = !known.place.empty();
        if ((known.priority != '\0' && line.priority != '\0' && known.priority != line.priority) ||
            (isOfPlace && known.place != line.File() && known.place != line.Function())) {
            continue;
        }
        const bool fits = Cli::StartsWith(line.message, known.start) ||
                          (known.kind > KnownLine::Kind::LIVED_WITH && Cli::StartsWith(cause, known.start));
        const std::size_t rank = 2 * known.start.size() + (!isOfPlace            ? 2
                                                           : known.start.empty() ? 1
                                                                                 : LONGEST);
        if (fits && rank > best) {
            found = &known;
            best = rank;
        }
    }
    return found;
}

}  // namespace Log
