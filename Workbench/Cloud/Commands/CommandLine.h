/** One command's words and options, on GLib's option parser. */
#pragma once

#include <glib.h>

#include <deque>
#include <string>
#include <vector>

#include "Cloud/Service/Folder.h"

namespace LocalCloud {

/** How a command presents itself. */
struct CommandText {
    std::string name;
    /** The words that it takes, as shown: "USER [ID]". */
    std::string words;
    std::string summary;
    /** Shown at the end of its help: details and examples. */
    std::string details;
};

/**
 * A command declares its options, calls Parse() and has the values then in the variables that it gave, which
 * keep what was in them when an option was not given. --dir is understood everywhere.
 */
class CommandLine {
public:
    CommandLine(CommandText text, std::vector<std::string> arguments)
        : m_text(std::move(text)), m_arguments(std::move(arguments)) {}

    void Option(const char* name, const char* placeholder, const char* description, std::string& value);
    void Option(const char* name, const char* placeholder, const char* description,
                std::vector<std::string>& value);
    void Flag(const char* name, const char* description, bool& value);

    /**
     * Shows the help and ends the process when that is asked for.
     * @return the words @throws UsageError
     */
    std::vector<std::string> Parse();

    /** The cloud's folder that was named; after Parse(). */
    Folder CloudFolder() const {
        return Folder(m_folder);
    }

private:
    template <typename Value, typename Raw>
    struct Target {
        Value* value;
        Raw raw;
    };

    void Add(const char* name, const char* placeholder, const char* description, GOptionArg kind,
             gpointer raw);
    std::vector<std::string> ParseOptions();
    void CheckCount(std::size_t count) const;
    void TakeValues();

    CommandText m_text;
    std::vector<std::string> m_arguments;
    std::string m_folder;
    std::vector<GOptionEntry> m_entries;
    // The parser writes through pointers to these, so they must not move.
    std::deque<Target<std::string, gchar*>> m_texts;
    std::deque<Target<std::vector<std::string>, gchar**>> m_lists;
    std::deque<Target<bool, gboolean>> m_flags;
};

/** The whole text must be a whole number within the limits. @throws UsageError that names it */
std::int64_t ParseInteger(const std::string& text, const std::string& name, std::int64_t lowest,
                          std::int64_t highest);

/** The whole text must be a number, with a point or without. @throws UsageError */
double ParseSeconds(const std::string& text);

}  // namespace LocalCloud
