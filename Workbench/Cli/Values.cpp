#include "Cli/Values.h"

#include <glib.h>

#include <algorithm>
#include <map>
#include <numeric>
#include <utility>

#include "Cli/Pattern.h"
#include "Cli/Text.h"

namespace Cli {

namespace {

/** How many characters must be put in, taken out or replaced. */
std::size_t Distance(const std::string& from, const std::string& to) {
    std::vector<std::size_t> row(to.size() + 1);
    std::iota(row.begin(), row.end(), 0);
    for (std::size_t i = 0; i < from.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i + 1);
        for (std::size_t j = 0; j < to.size(); ++j) {
            const std::size_t replaced = diagonal + (from[i] == to[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({row[j] + 1, row[j + 1] + 1, replaced});
        }
    }
    return row.back();
}

}  // namespace

std::string IsNotEmpty(const std::string& value) {
    return value.empty() ? "it is empty" : "";
}

std::string IsBluetoothAddress(const std::string& value) {
    static const Pattern address("^(?:[[:xdigit:]]{2}:){5}[[:xdigit:]]{2}\\z");
    const auto fits = address.Find(value);
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
    std::multimap<std::size_t, std::string> near;
    for (const std::string& word : words) {
        const std::size_t distance = misspelt.size() > LONGEST ? word.size() : Distance(misspelt, word);
        const bool isBeginning = !misspelt.empty() && StartsWith(word, misspelt);
        if (isBeginning ||
            (distance <= std::max<std::size_t>(1, word.size() / 3) && distance < word.size())) {
            near.emplace(distance, word);
        }
    }
    std::vector<std::string> shown;
    for (const auto& [distance, word] : near) {
        if (shown.size() < MOST_SHOWN) {
            shown.push_back(word);
        }
    }
    return shown.empty() ? "" : "; nearest: " + Join(shown, ", ");
}

}  // namespace Cli
