/** What a television's tv.ini says, with the table of the keys that it may hold. */
#pragma once

#include <glib.h>

#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/** One key of tv.ini: where it is, what it may hold, and what it reads as when it is not set. */
struct TvKey {
    /**
     * What the value is meant to be. A reading takes any text for a File or an Origin, and a list of any
     * texts for Addresses or Routes; whoever edits the file checks them.
     */
    enum class Type { Text, Choice, Integer, File, Origin, Addresses, Routes };

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

    /** Of a Choice: whether the value is one of its choices. */
    bool IsChoice(std::string_view value) const;
};

namespace TvKeys {

using Type = TvKey::Type;

inline constexpr TvKey MODEL{"system", "model", Type::Text};
inline constexpr TvKey SOFTWARE_VERSION{"system", "software_version", Type::Text};
inline constexpr TvKey TIZEN_VERSION{"system", "tizen_version", Type::Text};
inline constexpr TvKey TIZEN_ID{"system", "tizen_id", Type::Text};
inline constexpr TvKey SSO_STATE{"sso", "state", Type::Integer};
inline constexpr TvKey LOGIN_ID{"sso", "login_id", Type::Text};
inline constexpr TvKey AUTH_CODE{"sso", "auth_code", Type::File};
inline constexpr TvKey SSO_RESULT{"sso", "result", Type::Integer};
inline constexpr TvKey BT_SOURCE{"bluetooth", "source", Type::Choice, "lists", "lists bluez"};
inline constexpr TvKey BT_INIT_RESULT{"bluetooth", "init_result", Type::Integer};
inline constexpr TvKey BONDED{"bluetooth", "bonded", Type::Addresses};
inline constexpr TvKey KNOWN{"bluetooth", "known", Type::Addresses};
inline constexpr TvKey GATE_SITE{"http", "gate_site", Type::Origin, "https://auth.quorlen.example"};
inline constexpr TvKey CONNECT_TO{"http", "connect_to", Type::Routes};
inline constexpr TvKey CA_FILE{"http", "ca_file", Type::File};
inline constexpr TvKey MAX_RESPONSE_BYTES{
    "http", "max_response_bytes", Type::Integer, nullptr, nullptr, std::int64_t{8} << 20U, 1};
inline constexpr TvKey MAX_SECONDS{"http", "max_seconds", Type::Integer, nullptr, nullptr, 600, 1, 86'400};
inline constexpr TvKey LOG_LEVEL{"log", "level", Type::Choice, "I", "V D I W E F"};
inline constexpr TvKey LOG_FORMAT{"log", "format", Type::Choice, "brief", "brief time threadtime"};
inline constexpr TvKey LOG_FILE{"log", "file", Type::Text};

inline constexpr const TvKey* ALL[] = {
    &MODEL,      &SOFTWARE_VERSION,   &TIZEN_VERSION,  &TIZEN_ID,  &SSO_STATE,  &LOGIN_ID,  &AUTH_CODE,
    &SSO_RESULT, &BT_SOURCE,          &BT_INIT_RESULT, &BONDED,    &KNOWN,      &GATE_SITE, &CONNECT_TO,
    &CA_FILE,    &MAX_RESPONSE_BYTES, &MAX_SECONDS,    &LOG_LEVEL, &LOG_FORMAT, &LOG_FILE,
};

}  // namespace TvKeys

/** One reading of tv.ini. It never throws for what the file holds: a fault is kept as the reading's problem.
 */
class TvIni {
public:
    /** A text that is no key file reads as one with nothing set, a value that does not fit as one not set. */
    TvIni(std::string content, const std::string& path);

    /** A television with nothing set, and why. */
    static TvIni Unreadable(std::string problem);

    /** For a Text, a Choice, a File or an Origin. */
    std::optional<std::string> Text(const TvKey& key) const;
    std::int64_t Integer(const TvKey& key) const;
    /** For Addresses or Routes. */
    std::vector<std::string> List(const TvKey& key) const;

    /** What is wrong with the file and what that means, on one line; empty when nothing is. */
    const std::string& Problem() const {
        return m_problem;
    }

    /** Whether that is wrong with the whole of it. */
    bool IsDamaged() const {
        return m_isDamaged;
    }

    bool operator==(const TvIni& other) const {
        return m_path == other.m_path && m_content == other.m_content && m_problem == other.m_problem;
    }

private:
    TvIni();
    std::string m_path;
    std::string m_content;
    std::string m_problem;
    bool m_isDamaged = false;
    std::unique_ptr<GKeyFile, void (*)(GKeyFile*)> m_file;
};
