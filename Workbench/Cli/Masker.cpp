#include "Cli/Masker.h"

#include <json/writer.h>

#include <algorithm>
#include <map>
#include <utility>

#include "Cli/Pattern.h"
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

bool IsAbbreviated(std::string_view secret) {
    static const Pattern abbreviated(R"(^.{0,16}\.\.\. \(\d+ characters?\)\s*$)");
    return static_cast<bool>(abbreviated.Find(secret));
}

}  // namespace

std::string Abbreviate(const std::string& secret) {
    if (IsAbbreviated(secret)) {
        return Escape(secret);
    }
    constexpr std::size_t SHOWN = 4;
    // Of a short one, its first characters would be most of it.
    const std::string start = secret.size() >= 4 * SHOWN ? Escape(secret.substr(0, SHOWN)) : "";
    return start + "... (" + Count(secret.size(), "character") + ")";
}

Masker::Masker(std::vector<std::string> stored) : m_stored(std::move(stored)) {
    const auto isShort = [](const std::string& secret) { return secret.size() < SHORTEST_STORED; };
    m_stored.erase(std::remove_if(m_stored.begin(), m_stored.end(), isShort), m_stored.end());
}

std::string Masker::FindStored(const std::string& text) const {
    const auto isIn = [&text](const std::string& secret) {
        const std::string quoted = Json::valueToQuotedString(secret.c_str());
        return text.find(secret) != std::string::npos ||
               text.find(quoted.substr(1, quoted.size() - 2)) != std::string::npos;
    };
    const auto found = std::find_if(m_stored.begin(), m_stored.end(), isIn);
    return found == m_stored.end() ? "" : *found;
}

std::string Masker::Mask(std::string_view message) const {
    static const Pattern secrets(SECRETS);
    // Where the secrets are: by where each begins, the furthest end.
    std::map<std::size_t, std::size_t> places;
    const auto add = [&places](std::size_t begin, std::size_t size) {
        std::size_t& end = places[begin];
        end = std::max(end, begin + size);
    };
    secrets.ForEach(message, [&](const Pattern::Match& match) {
        const std::string_view value = match["v"];
        if (!value.empty() && !IsAbbreviated(value)) {
            add(static_cast<std::size_t>(value.data() - message.data()), value.size());
        }
    });
    for (const std::string& secret : m_stored) {
        for (auto at = message.find(secret); at != std::string_view::npos;
             at = message.find(secret, at + 1)) {
            add(at, secret.size());
        }
    }
    std::string masked;
    std::size_t from = 0;
    for (auto place = places.begin(); place != places.end();) {
        auto [begin, end] = *place;
        // Those that overlap or touch are one.
        while (++place != places.end() && place->first <= end) {
            end = std::max(end, place->second);
        }
        masked.append(message, from, begin - from)
            .append(Abbreviate(std::string(message.substr(begin, end - begin))));
        from = end;
    }
    return masked.append(message, from);
}

}  // namespace Cli
