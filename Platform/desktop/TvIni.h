/** What a television's tv.ini says, with the table of the keys that it may hold. */
#pragma once

#include <glib.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/** One key of tv.ini: where it is, what it may hold, and what it reads as when it is not set. */
struct TvKey {
    /**
     * What the value is meant to be. A reading takes any text for a File, an Output (a file that is appended
     * to) or an Origin, and a list of any texts for Addresses or Routes; what they are not is a problem.
     */
    enum class Type { Text, Choice, Integer, File, Output, Origin, Addresses, Routes };

    const char* group;
    const char* name;
    Type type;
    /** Null for no value. The choices of a Choice are separated by blanks. */
    const char* fallbackText = nullptr;
    const char* choices = nullptr;
    std::int64_t fallbackNumber = 0;
    std::int64_t least = std::numeric_limits<std::int32_t>::min();
    std::int64_t most = std::numeric_limits<std::int32_t>::max();

    constexpr bool IsList() const {
        return type == Type::Addresses || type == Type::Routes;
    }

    /** "GROUP.KEY" */
    std::string FullName() const {
        return std::string(group) + "." + name;
    }

    /** Of a Choice: whether the value is one of its choices. */
    bool IsChoice(std::string_view value) const;
};

/** Every key of tv.ini: KEY(CONSTANT, what a TvKey is made of). */
#define TV_KEYS(KEY)                                                                                     \
    KEY(MODEL, "system", "model", Type::Text)                                                            \
    KEY(SOFTWARE_VERSION, "system", "software_version", Type::Text)                                      \
    KEY(TIZEN_VERSION, "system", "tizen_version", Type::Text)                                            \
    KEY(TIZEN_ID, "system", "tizen_id", Type::Text)                                                      \
    KEY(SSO_STATE, "sso", "state", Type::Integer)                                                        \
    KEY(LOGIN_ID, "sso", "login_id", Type::Text)                                                         \
    KEY(AUTH_CODE, "sso", "auth_code", Type::File)                                                       \
    KEY(SSO_RESULT, "sso", "result", Type::Integer)                                                      \
    KEY(BT_SOURCE, "bluetooth", "source", Type::Choice, "lists", "lists bluez")                          \
    KEY(BT_INIT_RESULT, "bluetooth", "init_result", Type::Integer)                                       \
    KEY(BONDED, "bluetooth", "bonded", Type::Addresses)                                                  \
    KEY(KNOWN, "bluetooth", "known", Type::Addresses)                                                    \
    KEY(CLOUD, "http", "cloud", Type::Text)                                                              \
    KEY(GATE_SITE, "http", "gate_site", Type::Origin, "https://auth.quorlen.example")                    \
    KEY(CONNECT_TO, "http", "connect_to", Type::Routes)                                                  \
    KEY(CA_FILE, "http", "ca_file", Type::File)                                                          \
    KEY(MAX_RESPONSE_BYTES, "http", "max_response_bytes", Type::Integer, nullptr, nullptr, 8'388'608, 1) \
    KEY(MAX_SECONDS, "http", "max_seconds", Type::Integer, nullptr, nullptr, 600, 1, 86'400)             \
    KEY(LOG_LEVEL, "log", "level", Type::Choice, "I", "V D I W E F")                                     \
    KEY(LOG_FORMAT, "log", "format", Type::Choice, "brief", "brief time threadtime")                     \
    KEY(LOG_FILE, "log", "file", Type::Output)

namespace TvKeys {

using Type = TvKey::Type;

#define TV_KEY_CONSTANT(constant, ...)            \
    inline constexpr TvKey constant{__VA_ARGS__}; \
    static_assert((constant.type == Type::Choice) == (constant.choices != nullptr), "a choice has choices");
TV_KEYS(TV_KEY_CONSTANT)
#undef TV_KEY_CONSTANT

#define TV_KEY_ADDRESS(constant, ...) &constant,
inline constexpr const TvKey* ALL[] = {TV_KEYS(TV_KEY_ADDRESS)};
#undef TV_KEY_ADDRESS

/** The key, or null. */
const TvKey* Find(const std::string& group, const std::string& name);

}  // namespace TvKeys

/** Something that is wrong in a tv.ini. */
struct TvProblem {
    /** Counted from 1; 0 where the whole file is meant. */
    std::size_t line = 0;
    /** With the group and the key that it is about. */
    std::string words;
    /** Whether what it is about counts as not set. */
    bool isUnset = false;

    /** To follow the words then. */
    static constexpr char UNSET[] = "; it counts as not set";
};

/** One reading of tv.ini. It never throws for what the file holds, but collects what is wrong with it. */
class TvIni {
public:
    /** A text that is no key file reads as one with nothing set, a value that does not fit as one not set. */
    TvIni(std::string content, const std::string& path);

    /** A television with nothing set, and why. */
    static TvIni Unreadable(std::string problem);

    /** For a Text, a Choice, a File, an Output or an Origin. */
    std::optional<std::string> Text(const TvKey& key) const;
    std::int64_t Integer(const TvKey& key) const;
    /** For Addresses or Routes. */
    std::vector<std::string> List(const TvKey& key) const;

    /**
     * Lines that are none of a key file, unknown groups and keys, keys that stand there twice, and values
     * that do not fit, in the order of their lines. Whether a file that is named can be used is not looked
     * at.
     */
    const std::vector<TvProblem>& Problems() const {
        return m_problems;
    }

    /** The first of them for which something counts as not set, on one line with the file's name; or empty.
     */
    std::string Problem() const;

    /** Whether nothing of the file could be read. */
    bool IsDamaged() const {
        return m_isDamaged;
    }

    /** Where the key was read last; 0 for nowhere. */
    std::size_t LineOf(const TvKey& key) const;

    bool operator==(const TvIni& other) const {
        return m_path == other.m_path && m_content == other.m_content && Problem() == other.Problem();
    }

private:
    TvIni();
    void Validate();

    std::string m_path;
    std::string m_content;
    std::vector<TvProblem> m_problems;
    std::map<const TvKey*, std::size_t> m_lines;
    bool m_isDamaged = false;
    std::unique_ptr<GKeyFile, void (*)(GKeyFile*)> m_file;
};
