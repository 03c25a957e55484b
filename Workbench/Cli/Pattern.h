/** A regular expression of GLib's, on bytes. */
#pragma once

#include <glib.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace Cli {

class Pattern {
public:
    class Match {
    public:
        explicit operator bool() const {
            return m_matched;
        }
        /** What the group of that name matched; empty when it took no part. Views the text. */
        std::string_view operator[](const char* group) const;
        /** What comes after all that was matched. */
        std::string_view Rest() const;

    private:
        friend class Pattern;
        std::string_view m_text;
        std::unique_ptr<GMatchInfo, decltype(&g_match_info_unref)> m_info{nullptr, &g_match_info_unref};
        bool m_matched = false;
    };

    /** @param expression of our own making; several groups may have the same name */
    explicit Pattern(const std::string& expression);

    Match Find(std::string_view text) const;
    /** The text with what is made of it instead of each that the group "v" matched. */
    std::string Replace(std::string_view text,
                        const std::function<std::string(const std::string& value)>& make) const;
    std::string Replace(std::string_view text, const std::string& by) const {
        return Replace(text, [&by](const std::string& /*value*/) { return by; });
    }
    void ForEach(std::string_view text, const std::function<void(const Match&)>& onMatch) const;

private:
    std::shared_ptr<GRegex> m_regex;
};

/** The number that the text begins with; 0 when it begins with none. */
std::int64_t Number(std::string_view text);

}  // namespace Cli
