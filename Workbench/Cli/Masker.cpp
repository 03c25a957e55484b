#include "Cli/Masker.h"

#include <json/writer.h>

#include <algorithm>
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
 * The beginnings come first, since at most places of a text none of them stands. A quote may be escaped,
 * where JSON stands in a text of JSON, or written as in a page of the web; a value that was cut goes on to
 * the end. In a form and among the service's values the code is just "code", which is also a word of
 * sentences.
 */
constexpr char SECRETS[] =
    R"((?is)(?=[\\"<?&]|acc|aut|ref|cod|x-k|bea|key|nam|bod)(?:(?<q>\\{0,7}""?|&quot;))" NAMES
    R"(\k<q>\s*:[\s\[]*(?:\k<q>(?<v>.*?)(?:(?<!\\)\k<q>|$)|(?<v>\d[^\s",}\]]*)))"
    R"(|(?:<|&lt;))" NAMES R"((?:\s[^<>]*)?(?:>|&gt;)(?<v>.*?)(?:(?:<|&lt;)/|$))"
    R"(|(?<![\w-]))" NAMES R"(=(?<v>[^&\s"<>]*)" LENGTH R"())"
    R"(|(?:^|[?&"]|body\s*:\s*)code=(?<v>[^&\s"<>]*)" LENGTH R"())"
    R"(|(?:key|name)\s*:\s*(?:code|)" NAMES R"()[.,]\s*\w+\s*:\s*(?<v>.*))"
    R"(|(?<![\w"-])(?:Authorization|x-kc-access-token)\s*:\s*+(?:Bearer\s*)?(?<v>[^\r\n"]+))"
    R"(|(?<![\w"/-])(?:accessToken|authCode)\s*:\s*+(?![{<\[])(?<v>[^\r\n]+))"
    R"(|(?<!\w)Bearer\s+(?<v>[^\s"]{8,})" LENGTH R"()))";

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
    // One may be the beginning of another.
    std::sort(m_stored.begin(), m_stored.end(),
              [](const auto& a, const auto& b) { return a.size() > b.size(); });
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
    std::string text(message);
    for (const std::string& secret : m_stored) {
        const std::string shown = Abbreviate(secret);
        for (auto at = text.find(secret); at != std::string::npos;
             at = text.find(secret, at + shown.size())) {
            text.replace(at, secret.size(), shown);
        }
    }
    return secrets.Replace(
        text, [](const std::string& value) { return IsAbbreviated(value) ? value : Abbreviate(value); });
}

}  // namespace Cli
