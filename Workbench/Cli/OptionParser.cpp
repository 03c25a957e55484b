#include "Cli/OptionParser.h"

#include <glib.h>

#include <memory>

namespace Cli {

namespace {

/** What GLib writes an option's finding to. */
struct Slot {
    gboolean given = FALSE;
    char** values = nullptr;

    Slot() = default;
    Slot(const Slot&) = delete;
    Slot& operator=(const Slot&) = delete;
    ~Slot() {
        g_strfreev(values);
    }
};

using Context = std::unique_ptr<GOptionContext, decltype(&g_option_context_free)>;
using Words = std::unique_ptr<char*, decltype(&g_strfreev)>;

Words ToStrv(const std::vector<std::string>& words) {
    char** copy = g_new0(char*, words.size() + 2);
    // The place of the tool's own name.
    copy[0] = g_strdup("");
    for (std::size_t i = 0; i < words.size(); ++i) {
        copy[i + 1] = g_strdup(words[i].c_str());
    }
    return {copy, &g_strfreev};
}

/** The entries refer to the options' texts and to the slots. */
std::vector<GOptionEntry> Entries(const std::vector<Option>& options, std::vector<Slot>& slots) {
    std::vector<GOptionEntry> entries;
    for (std::size_t i = 0; i < options.size(); ++i) {
        GOptionEntry entry = {};
        entry.long_name = options[i].name.c_str();
        // File names are taken as they are; texts would be converted from the locale's character set.
        entry.arg = options[i].valueName.empty() ? G_OPTION_ARG_NONE : G_OPTION_ARG_FILENAME_ARRAY;
        entry.arg_data = options[i].valueName.empty() ? static_cast<gpointer>(&slots[i].given)
                                                      : static_cast<gpointer>(&slots[i].values);
        entries.push_back(entry);
    }
    entries.push_back({});
    return entries;
}

}  // namespace

std::vector<std::string> ParseOptions(const std::vector<Option>& options,
                                      const std::vector<std::string>& words, bool onlyLeading,
                                      Arguments& arguments) {
    std::vector<Slot> slots(options.size());
    const std::vector<GOptionEntry> entries = Entries(options, slots);
    const Context context(g_option_context_new(nullptr), &g_option_context_free);
    g_option_context_set_help_enabled(context.get(), FALSE);
    g_option_context_set_strict_posix(context.get(), onlyLeading ? TRUE : FALSE);
    g_option_context_add_main_entries(context.get(), entries.data(), nullptr);

    Words left = ToStrv(words);
    char** strv = left.release();
    GError* error = nullptr;
    const bool parsed = g_option_context_parse_strv(context.get(), &strv, &error) != FALSE;
    left.reset(strv);
    if (!parsed) {
        const std::string reason = error->message;
        g_error_free(error);
        throw UsageError(reason);
    }
    for (std::size_t i = 0; i < options.size(); ++i) {
        if (slots[i].given != FALSE) {
            arguments.Add(options[i].name, "");
        }
        for (char** value = slots[i].values; value != nullptr && *value != nullptr; ++value) {
            arguments.Add(options[i].name, *value);
        }
    }
    std::vector<std::string> operands;
    bool optionsEnded = false;
    for (char** word = strv + 1; *word != nullptr; ++word) {
        if (!onlyLeading && !optionsEnded && std::string(*word) == "--") {
            optionsEnded = true;
        } else {
            operands.emplace_back(*word);
        }
    }
    return operands;
}

}  // namespace Cli
