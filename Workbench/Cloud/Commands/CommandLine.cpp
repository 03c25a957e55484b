#include "Cloud/Commands/CommandLine.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <utility>

#include "Cloud/Util/Errors.h"

namespace LocalCloud {

namespace {

constexpr char PROGRAM[] = "infosync-cloud ";

std::size_t CountWords(const std::string& words, char optionalMark) {
    std::size_t count = 0;
    for (std::size_t i = 0; i < words.size(); ++i) {
        const bool starts = words[i] != ' ' && (i == 0 || words[i - 1] == ' ');
        count += starts && words[i] != optionalMark ? 1 : 0;
    }
    return count;
}

}  // namespace

void CommandLine::Option(const char* name, const char* placeholder, const char* description,
                         std::string& value) {
    m_texts.push_back({&value, nullptr});
    // The only kind that takes any bytes, whatever the locale.
    Add(name, placeholder, description, G_OPTION_ARG_FILENAME, static_cast<gpointer>(&m_texts.back().raw));
}

void CommandLine::Option(const char* name, const char* placeholder, const char* description,
                         std::vector<std::string>& value) {
    m_lists.push_back({&value, nullptr});
    Add(name, placeholder, description, G_OPTION_ARG_FILENAME_ARRAY,
        static_cast<gpointer>(&m_lists.back().raw));
}

void CommandLine::Flag(const char* name, const char* description, bool& value) {
    m_flags.push_back({&value, FALSE});
    Add(name, nullptr, description, G_OPTION_ARG_NONE, static_cast<gpointer>(&m_flags.back().raw));
}

std::vector<std::string> CommandLine::Parse() {
    Option("dir", "DIR",
           "the cloud's folder (default: $INFOSYNC_CLOUD_DIR, or infosync-cloud in the XDG state folder)",
           m_folder);
    m_entries.push_back({});
    auto words = ParseOptions();
    TakeValues();
    CheckCount(words.size());
    return words;
}

void CommandLine::Add(const char* name, const char* placeholder, const char* description, GOptionArg kind,
                      gpointer raw) {
    m_entries.push_back({name, 0, 0, kind, raw, description, placeholder});
}

std::vector<std::string> CommandLine::ParseOptions() {
    const std::unique_ptr<GOptionContext, decltype(&g_option_context_free)> context(
        g_option_context_new(m_text.words.c_str()), &g_option_context_free);
    g_set_prgname((PROGRAM + m_text.name).c_str());
    g_option_context_set_summary(context.get(), m_text.summary.c_str());
    g_option_context_set_description(context.get(), m_text.details.c_str());
    g_option_context_add_main_entries(context.get(), m_entries.data(), nullptr);

    auto** raw = g_new0(gchar*, m_arguments.size() + 2);
    raw[0] = g_strdup(PROGRAM);
    for (std::size_t i = 0; i < m_arguments.size(); ++i) {
        raw[i + 1] = g_strdup(m_arguments[i].c_str());
    }
    GError* error = nullptr;
    const bool parsed = g_option_context_parse_strv(context.get(), &raw, &error) != FALSE;
    const std::unique_ptr<gchar*, decltype(&g_strfreev)> owner(raw, &g_strfreev);
    if (!parsed) {
        const std::string reason = error->message;
        g_error_free(error);
        throw UsageError(reason + "; see: " + PROGRAM + m_text.name + " --help");
    }
    std::vector<std::string> words;
    for (gchar** word = raw + 1; *word != nullptr; ++word) {
        words.emplace_back(*word);
    }
    const auto separator = std::find(words.begin(), words.end(), "--");
    if (separator != words.end()) {
        words.erase(separator);
    }
    return words;
}

void CommandLine::CheckCount(std::size_t count) const {
    if (count < CountWords(m_text.words, '[') || count > CountWords(m_text.words, '\0')) {
        throw UsageError("\"" + m_text.name + "\" takes " +
                         (m_text.words.empty() ? "no words" : m_text.words) + "; see: " + PROGRAM +
                         m_text.name + " --help");
    }
}

void CommandLine::TakeValues() {
    for (auto& [value, raw] : m_texts) {
        if (raw != nullptr) {
            *value = raw;
            g_free(raw);
        }
    }
    for (auto& [value, raw] : m_lists) {
        for (gchar** item = raw; item != nullptr && *item != nullptr; ++item) {
            value->emplace_back(*item);
        }
        g_strfreev(raw);
    }
    for (auto& [value, raw] : m_flags) {
        *value = *value || raw != FALSE;
    }
}

std::int64_t ParseInteger(const std::string& text, const std::string& name, std::int64_t lowest,
                          std::int64_t highest) {
    constexpr guint DECIMAL = 10;
    gint64 number = 0;
    if (g_ascii_string_to_signed(text.c_str(), DECIMAL, lowest, highest, &number, nullptr) == FALSE) {
        throw UsageError(name + " must be a whole number from " + std::to_string(lowest) + " to " +
                         std::to_string(highest) + ", not \"" + text + "\"");
    }
    return number;
}

double ParseSeconds(const std::string& text) {
    gchar* end = nullptr;
    const double seconds = g_ascii_strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0' || !std::isfinite(seconds) || seconds < 0) {
        throw UsageError("SECONDS must be a number that is not negative, not \"" + text + "\"");
    }
    return seconds;
}

}  // namespace LocalCloud
