#include "Cli/Masker.h"

#include <glib.h>

#include <algorithm>
#include <memory>
#include <utility>

#include "Cli/Text.h"

namespace Cli {

namespace {

constexpr std::size_t SHORTEST_STORED = 8;

// Compared in any case.
#define NAMES "(?:access_?token|refresh_token|auth_?code|code_verifier|Authorization|x-kc-access-token)"
// What stands behind the beginning of a secret that is masked already.
#define LENGTH R"((?: \(\d+ characters?\))?)"

/**
 * A quote may be escaped, where JSON stands in a text of JSON; a value that was cut goes on to the end. In a
 * form and among the service's values the code is just "code", which is also a word of sentences.
 */
constexpr char SECRETS[] =
    R"((?is)(?<q>\\{0,7}"))" NAMES
    R"(\k<q>\s*:[\s\[]*(?:\k<q>(?<v>.*?)(?:(?<!\\)\k<q>|$)|(?<v>\d[^\s",}\]]*)))"
    R"(|<)" NAMES R"((?:\s[^<>]*)?>(?<v>.*?)(?:</|$))"
    R"(|(?<![\w-]))" NAMES R"(=(?<v>[^&\s"<>]*)" LENGTH R"())"
    R"(|(?:^|[?&"]|body : )code=(?<v>[^&\s"<>]*)" LENGTH R"())"
    R"(|(?:key|name) ?: ?(?:code|)" NAMES R"()[.,] \w+ : (?<v>.*))"
    R"(|(?<![\w"-])(?:Authorization|x-kc-access-token) ?: ?(?:Bearer )?(?<v>[^\r\n"]+))"
    R"(|(?<![\w"-])(?:accessToken|authCode) : (?![{<\[])(?<v>[^\r\n]+))"
    R"(|(?<!\w)Bearer (?<v>[^\s"]{8,})" LENGTH R"())";

#undef LENGTH
#undef NAMES

constexpr char MASKED[] = R"(^.{0,16}\.\.\. \(\d+ characters?\)\s*$)";

GRegex* Compiled(const char* expression) {
    constexpr int ON_BYTES = G_REGEX_RAW | G_REGEX_OPTIMIZE | G_REGEX_DUPNAMES;
    return g_regex_new(expression, static_cast<GRegexCompileFlags>(ON_BYTES), GRegexMatchFlags{}, nullptr);
}

using Match = std::unique_ptr<GMatchInfo, decltype(&g_match_info_unref)>;

Match FirstMatch(const GRegex* expression, std::string_view text) {
    GMatchInfo* match = nullptr;
    g_regex_match_full(expression, text.data(), static_cast<gssize>(text.size()), 0, GRegexMatchFlags{},
                       &match, nullptr);
    return {match, &g_match_info_unref};
}

bool IsMasked(std::string_view value) {
    static const GRegex* const masked = Compiled(MASKED);
    return g_match_info_matches(FirstMatch(masked, value).get()) != FALSE;
}

/** The values of secrets' names. */
std::vector<Place> ValuesIn(std::string_view message) {
    static const GRegex* const secrets = Compiled(SECRETS);
    std::vector<Place> places;
    const Match match = FirstMatch(secrets, message);
    for (; g_match_info_matches(match.get()) != FALSE; g_match_info_next(match.get(), nullptr)) {
        gint begin = 0;
        gint end = 0;
        g_match_info_fetch_named_pos(match.get(), "v", &begin, &end);
        const Place place{static_cast<std::size_t>(begin), static_cast<std::size_t>(end)};
        if (begin < end && !IsMasked(message.substr(place.begin, place.end - place.begin))) {
            places.push_back(place);
        }
    }
    return places;
}

/** Sorts the places, and joins those that overlap. */
std::vector<Place> Apart(std::vector<Place> places) {
    std::sort(places.begin(), places.end(), [](const Place& a, const Place& b) {
        return std::pair(a.begin, a.end) < std::pair(b.begin, b.end);
    });
    std::vector<Place> apart;
    for (const Place& place : places) {
        if (apart.empty() || place.begin > apart.back().end) {
            apart.push_back(place);
        } else {
            apart.back().end = std::max(apart.back().end, place.end);
        }
    }
    return apart;
}

}  // namespace

Masker::Masker(std::vector<std::string> stored) : m_stored(std::move(stored)) {
    const auto isShort = [](const std::string& secret) { return secret.size() < SHORTEST_STORED; };
    m_stored.erase(std::remove_if(m_stored.begin(), m_stored.end(), isShort), m_stored.end());
}

std::vector<Place> Masker::Find(std::string_view message) const {
    std::vector<Place> places = ValuesIn(message);
    for (const std::string& secret : m_stored) {
        for (auto at = message.find(secret); at != std::string_view::npos;
             at = message.find(secret, at + 1)) {
            places.push_back({at, at + secret.size()});
        }
    }
    return Apart(std::move(places));
}

std::string Masker::Mask(std::string_view message) const {
    std::string masked;
    std::size_t from = 0;
    for (const auto& [begin, end] : Find(message)) {
        masked.append(message, from, begin - from)
            .append(Abbreviate(std::string(message.substr(begin, end - begin))));
        from = end;
    }
    return masked.append(message, from);
}

}  // namespace Cli
