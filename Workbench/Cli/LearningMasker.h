/** Keeps tokens, codes and verifiers out of what is shown or leaves the machine. */
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "Cli/ValueScanner.h"

namespace Cli {

/** Secrets that were seen, to be found wherever they stand. The oldest are given up past some thousands. */
class KnownSecrets {
public:
    /** A short one is not taken up: it would be found in words. */
    void Add(std::string_view secret);

    /** Adds the place of each secret in the text, and of one whose end the text's end cuts off. */
    void Find(std::string_view text, std::vector<FoundValue>& places) const;

private:
    using Sorted = std::set<std::string, std::less<>>;

    std::size_t LengthAt(std::string_view text) const;

    Sorted m_secrets;
    std::deque<Sorted::iterator> m_byAge;
    /** How many have the same hash of their first bytes, so that most positions of a text cost little. */
    std::array<std::uint16_t, 4096> m_starts = {};
};

/**
 * Learns secrets from what it is given and masks them: the values of names that secrets have, each text of 16
 * bytes or more under a name that is not known to be harmless, and what was learned wherever it stands.
 */
class LearningMasker {
public:
    /** What stands in a secret's place: its beginning and length, or a word that fits where a token does. */
    enum class Shows { BEGINNING, LENGTH };

    explicit LearningMasker(Shows shows = Shows::BEGINNING) : m_shows(shows) {}

    /** @param entry the same for all lines of one log entry, such as what stands before its message */
    std::string Mask(const std::string& text, const std::string& entry = "");

    /** Masks what was learned before, and nothing else. */
    std::string MaskKnown(const std::string& text) const;

protected:
    /** Learns from a text as Mask() does, and from one that is a token itself. */
    void Learn(const std::string& text);

    /** As Mask(), but each text counts that is not known to be harmless, however short. */
    std::string MaskEveryText(const std::string& text);

    std::string Replacement(const std::string& secret) const;

private:
    std::vector<FoundValue> Find(const std::string& text, const std::string& entry, bool everyText);
    std::string Masked(const std::string& text, std::vector<FoundValue> places) const;

    Shows m_shows;
    ValueScanner m_scanner;
    KnownSecrets m_known;
};

}  // namespace Cli
