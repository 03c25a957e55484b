#include "Cli/LearningMasker.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <utility>

#include "Cli/Text.h"

namespace Cli {

namespace {

constexpr std::size_t SHORTEST_KNOWN = sizeof(std::uint64_t);
constexpr std::size_t LONGEST_KNOWN = 1024;
constexpr std::size_t MOST_KNOWN = 4096;
constexpr std::size_t LONG_TEXT = 16;

/** A hash of the first bytes. */
std::size_t SlotOf(std::string_view text, std::size_t slots) {
    constexpr std::uint64_t GOLDEN_RATIO = 0x9E3779B97F4A7C15U;  // Fibonacci hashing
    std::uint64_t start = 0;
    std::memcpy(&start, text.data(), SHORTEST_KNOWN);
    return static_cast<std::size_t>((start * GOLDEN_RATIO) >> 40U) % slots;
}

/** What a bearer token is made of (RFC 6750, section 2.1). */
bool IsTokenCharacter(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || std::strchr("-._~+/=", c) != nullptr;
}

bool IsToken(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return c != '\0' && IsTokenCharacter(c); });
}

}  // namespace

void KnownSecrets::Add(std::string_view secret) {
    if (secret.size() < SHORTEST_KNOWN) {
        return;
    }
    const auto [place, isNew] = m_secrets.emplace(secret.substr(0, LONGEST_KNOWN));
    if (!isNew) {
        return;
    }
    m_byAge.push_back(place);
    ++m_starts[SlotOf(secret, m_starts.size())];
    if (m_byAge.size() > MOST_KNOWN) {
        --m_starts[SlotOf(*m_byAge.front(), m_starts.size())];
        m_secrets.erase(m_byAge.front());
        m_byAge.pop_front();
    }
}

void KnownSecrets::Find(std::string_view text, std::vector<FoundValue>& places) const {
    std::size_t end = 0;
    for (std::size_t at = 0; at + SHORTEST_KNOWN <= text.size(); ++at) {
        if (m_starts[SlotOf(text.substr(at), m_starts.size())] == 0) {
            continue;
        }
        const std::size_t length = LengthAt(text.substr(at, LONGEST_KNOWN));
        if (at + length > std::max(at, end)) {
            end = at + length;
            // What was learned may be the beginning of a token that was cut off.
            while (end < text.size() && IsTokenCharacter(text[end])) {
                ++end;
            }
            places.push_back({at, end});
        }
    }
}

/** The length of the longest secret that the text begins with; its own where one begins with it; else 0. */
std::size_t KnownSecrets::LengthAt(std::string_view text) const {
    auto next = m_secrets.lower_bound(text);
    if (next != m_secrets.end() && next->compare(0, text.size(), text) == 0) {
        return text.size();
    }
    // What shares most with the text stands just before it; what the text begins with is no longer than that.
    for (std::string_view start = text; next != m_secrets.begin(); next = m_secrets.upper_bound(start)) {
        const std::string& before = *std::prev(next);
        const auto differs = std::mismatch(before.begin(), before.end(), start.begin(), start.end()).first;
        if (differs == before.end()) {
            return before.size();
        }
        start = start.substr(0, static_cast<std::size_t>(differs - before.begin()));
    }
    return 0;
}

std::string LearningMasker::Mask(const std::string& text, const std::string& entry) {
    std::vector<FoundValue> places = Find(text, entry, false);
    m_known.Find(text, places);
    return Masked(text, std::move(places));
}

std::string LearningMasker::MaskKnown(const std::string& text) const {
    std::vector<FoundValue> places;
    m_known.Find(text, places);
    return Masked(text, std::move(places));
}

std::string LearningMasker::MaskEveryText(const std::string& text) {
    std::vector<FoundValue> places = Find(text, "", true);
    m_known.Find(text, places);
    return Masked(text, std::move(places));
}

void LearningMasker::Learn(const std::string& text) {
    Find(text, "", false);
    if (IsToken(text)) {
        m_known.Add(text);
    }
}

/** Learns. @return the places of the values that are to be masked */
std::vector<FoundValue> LearningMasker::Find(const std::string& text, const std::string& entry,
                                             bool everyText) {
    std::vector<FoundValue> places;
    for (const FoundValue& value : m_scanner.Scan(text, entry)) {
        const std::string_view found(text.data() + value.begin, value.end - value.begin);
        const bool isLong = found.size() >= LONG_TEXT;
        if (value.isSecret || (isLong && IsToken(found))) {
            m_known.Add(found);
        }
        if (value.isSecret || isLong || everyText) {
            places.push_back(value);
        }
    }
    return places;
}

std::string LearningMasker::Masked(const std::string& text, std::vector<FoundValue> places) const {
    std::sort(places.begin(), places.end(), [](const auto& a, const auto& b) { return a.begin < b.begin; });
    std::string masked;
    std::size_t shown = 0;
    for (std::size_t i = 0; i < places.size();) {
        FoundValue place = places[i];
        for (++i; i < places.size() && places[i].begin < place.end; ++i) {
            place.end = std::max(place.end, places[i].end);
        }
        const char* const quote = place.isBare ? "\"" : "";
        masked.append(text, shown, place.begin - shown);
        masked += quote + Replacement(text.substr(place.begin, place.end - place.begin)) + quote;
        shown = place.end;
    }
    return masked.append(text, shown, std::string::npos);
}

std::string LearningMasker::Replacement(const std::string& secret) const {
    return m_shows == Shows::BEGINNING ? Abbreviate(secret)
                                       : "replaced-" + std::to_string(secret.size()) + "-characters";
}

}  // namespace Cli
