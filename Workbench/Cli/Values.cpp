#include "Cli/Values.h"

#include <glib.h>

#include <algorithm>
#include <utility>

#include "Cli/Text.h"

namespace Cli {

namespace {

/** How many characters must be put in, taken out, replaced or swapped with the next (optimal string
 * alignment). */
std::size_t Distance(const std::string& from, const std::string& to) {
    std::vector<std::vector<std::size_t>> d(from.size() + 1, std::vector<std::size_t>(to.size() + 1));
    for (std::size_t i = 0; i <= from.size(); ++i) {
        for (std::size_t j = 0; j <= to.size(); ++j) {
            if (i == 0 || j == 0) {
                d[i][j] = i + j;
                continue;
            }
            const bool same = from[i - 1] == to[j - 1];
            d[i][j] = std::min({d[i - 1][j] + 1, d[i][j - 1] + 1, d[i - 1][j - 1] + (same ? 0U : 1U)});
            if (i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1]) {
                d[i][j] = std::min(d[i][j], d[i - 2][j - 2] + 1);
            }
        }
    }
    return d[from.size()][to.size()];
}

}  // namespace

std::string IsNotEmpty(const std::string& value) {
    return value.empty() ? "it is empty" : "";
}

std::string IsBluetoothAddress(const std::string& value) {
    constexpr std::size_t LENGTH = 17;
    bool fits = value.size() == LENGTH;
    for (std::size_t i = 0; fits && i < LENGTH; ++i) {
        fits = i % 3 == 2 ? value[i] == ':' : g_ascii_isxdigit(value[i]) != FALSE;
    }
    return fits ? "" : "\"" + value + "\" is no Bluetooth address, such as AA:BB:CC:00:11:22";
}

std::string IsUtf8(const std::string& value) {
    const bool fits = g_utf8_validate(value.data(), static_cast<gssize>(value.size()), nullptr) != FALSE;
    return fits ? "" : "it is not UTF-8";
}

std::string Nearest(const std::string& misspelt, const std::vector<std::string>& words) {
    constexpr std::size_t MOST_SHOWN = 3;
    // Beyond this length a word is no misspelling, and the comparison takes its square.
    constexpr std::size_t LONGEST = 40;
    std::vector<std::pair<std::size_t, std::string>> near;
    for (const std::string& word : words) {
        if (misspelt.size() > LONGEST) {
            break;
        }
        const std::size_t distance = Distance(misspelt, word);
        const bool isBeginning = !misspelt.empty() && word.rfind(misspelt, 0) == 0;
        const std::size_t furthest = std::max<std::size_t>(1, word.size() / 3);
        if (isBeginning || (distance <= furthest && distance < word.size())) {
            near.emplace_back(distance, word);
        }
    }
    std::stable_sort(near.begin(), near.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    near.resize(std::min(near.size(), MOST_SHOWN));
    std::vector<std::string> shown;
    std::transform(near.begin(), near.end(), std::back_inserter(shown),
                   [](const auto& entry) { return entry.second; });
    return shown.empty() ? "" : "; nearest: " + Join(shown, ", ");
}

}  // namespace Cli
