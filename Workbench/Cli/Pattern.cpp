#include "Cli/Pattern.h"

#include <charconv>

namespace Cli {

std::string_view Pattern::Match::operator[](const char* group) const {
    gint begin = -1;
    gint end = -1;
    if (m_matched) {
        g_match_info_fetch_named_pos(m_info.get(), group, &begin, &end);
    }
    return begin < 0 ? std::string_view()
                     : m_text.substr(static_cast<std::size_t>(begin), static_cast<std::size_t>(end - begin));
}

std::string_view Pattern::Match::Rest() const {
    gint end = 0;
    g_match_info_fetch_pos(m_info.get(), 0, nullptr, &end);
    return m_text.substr(static_cast<std::size_t>(end));
}

Pattern::Pattern(const std::string& expression)
    : m_regex(g_regex_new(expression.c_str(),
                          static_cast<GRegexCompileFlags>(G_REGEX_RAW | G_REGEX_OPTIMIZE | G_REGEX_DUPNAMES),
                          GRegexMatchFlags{}, nullptr),
              &g_regex_unref) {}

Pattern::Match Pattern::Find(std::string_view text) const {
    Match match;
    GMatchInfo* info = nullptr;
    match.m_text = text;
    match.m_matched = g_regex_match_full(m_regex.get(), text.data(), static_cast<gssize>(text.size()), 0,
                                         GRegexMatchFlags{}, &info, nullptr) != FALSE;
    match.m_info.reset(info);
    return match;
}

void Pattern::ForEach(std::string_view text, const std::function<void(const Match&)>& onMatch) const {
    Match match = Find(text);
    while (match) {
        onMatch(match);
        match.m_matched = g_match_info_next(match.m_info.get(), nullptr) != FALSE;
    }
}

std::string Pattern::Replace(std::string_view text,
                             const std::function<std::string(const std::string& value)>& make) const {
    std::string replaced;
    std::size_t from = 0;
    ForEach(text, [&](const Match& match) {
        const std::string_view value = match["v"];
        if (!value.empty()) {
            const auto begin = static_cast<std::size_t>(value.data() - text.data());
            replaced.append(text, from, begin - from).append(make(std::string(value)));
            from = begin + value.size();
        }
    });
    return replaced.append(text, from);
}

std::int64_t Number(std::string_view text) {
    std::int64_t number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

}  // namespace Cli
