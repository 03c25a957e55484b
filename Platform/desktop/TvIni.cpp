#include "TvIni.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "GateSite.h"

namespace {

/** A value that does not fit: it counts as not set. */
struct Misfit : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/** Takes a GLib call's error and throws it; for values that are there but do not fit. */
struct Fault {
    GError* error = nullptr;

    Fault() = default;
    Fault(const Fault&) = delete;
    Fault& operator=(const Fault&) = delete;
    ~Fault() {
        g_clear_error(&error);
    }
    void ThrowIfAny() const {
        if (error != nullptr) {
            throw Misfit(error->message);
        }
    }
};

std::string ReadText(GKeyFile* file, const TvKey& key) {
    Fault fault;
    const std::unique_ptr<char, decltype(&g_free)> text(
        g_key_file_get_string(file, key.group, key.name, &fault.error), &g_free);
    fault.ThrowIfAny();
    if (key.type == TvKey::Type::Choice && !key.IsChoice(text.get())) {
        throw Misfit("“" + std::string(text.get()) + "” is none of: " + key.choices);
    }
    return text.get();
}

std::int64_t ReadInteger(GKeyFile* file, const TvKey& key) {
    Fault fault;
    const std::int64_t number = g_key_file_get_int64(file, key.group, key.name, &fault.error);
    fault.ThrowIfAny();
    if (number < key.least || number > key.most) {
        throw Misfit(std::to_string(number) + " is not from " + std::to_string(key.least) + " to " +
                     std::to_string(key.most));
    }
    return number;
}

std::vector<std::string> ReadList(GKeyFile* file, const TvKey& key) {
    Fault fault;
    gsize count = 0;
    const std::unique_ptr<char*, decltype(&g_strfreev)> items(
        g_key_file_get_string_list(file, key.group, key.name, &count, &fault.error), &g_strfreev);
    fault.ThrowIfAny();
    std::vector<std::string> list;
    list.reserve(count);
    for (gsize i = 0; i < count; ++i) {
        const char* item = g_strstrip(items.get()[i]);
        if (*item != '\0') {
            list.emplace_back(item);
        }
    }
    return list;
}

bool IsSet(GKeyFile* file, const TvKey& key) {
    return g_key_file_has_key(file, key.group, key.name, nullptr) != FALSE;
}

/** A Bluetooth address, or HOST:PORT:CONNECT-HOST:CONNECT-PORT, of which each may be empty. */
void CheckItem(const TvKey& key, const std::string& item) {
    constexpr char ADDRESS[] = "^([0-9A-Fa-f]{2}:){5}[0-9A-Fa-f]{2}$";
    constexpr char HOST[] = R"((\[[0-9a-fA-F:.]*\]|[^:\[\]]*))";
    constexpr char PORT[] =
        "([0-9]{0,4}|[1-5][0-9]{4}|6[0-4][0-9]{3}|65[0-4][0-9]{2}|655[0-2][0-9]|6553[0-5])";
    static const std::string target = std::string(HOST) + ":" + PORT;
    static const std::string route = "^" + target + ":" + target + "$";
    const bool isAddress = key.type == TvKey::Type::Addresses;
    if (g_regex_match_simple(isAddress ? ADDRESS : route.c_str(), item.c_str(), GRegexCompileFlags{},
                             GRegexMatchFlags{}) == FALSE) {
        throw std::runtime_error("“" + item +
                                 (isAddress ? "” is no address such as AA:BB:CC:00:11:22"
                                            : "” is no route such as auth.example:443:127.0.0.1:8443"));
    }
}

/** @throws std::runtime_error for a value that is not what the key is meant to hold */
void CheckValue(GKeyFile* file, const TvKey& key) {
    if (key.type == TvKey::Type::Integer) {
        ReadInteger(file, key);
    } else if (!key.IsList()) {
        const std::string text = ReadText(file, key);
        if (key.type == TvKey::Type::Origin) {
            GateSite::Parse(text);
        }
    } else {
        for (const std::string& item : ReadList(file, key)) {
            CheckItem(key, item);
        }
    }
}

/** A group, where there is no name, or a key in it. */
struct Place {
    std::size_t line;
    std::string group;
    std::string name;
};

/** Of a text that is a key file. */
std::vector<Place> PlacesIn(const std::string& content) {
    std::vector<Place> places;
    std::istringstream lines(content);
    std::size_t number = 0;
    std::string group;
    for (std::string line; std::getline(lines, line);) {
        ++number;
        const std::string text = g_strstrip(line.data());
        const auto equals = text.find('=');
        if (text.empty() || text[0] == '#') {
            continue;
        }
        if (text[0] == '[') {
            group = text.substr(1, text.rfind(']') - 1);
            places.push_back({number, group, ""});
        } else if (equals != std::string::npos) {
            std::string name = text.substr(0, equals);
            places.push_back({number, group, g_strchomp(name.data())});
        }
    }
    return places;
}

/** The first line without which the text would be a key file as far as that, found by halving. */
std::size_t DamagedLine(const std::string& content) {
    std::vector<std::size_t> ends;
    for (auto at = content.find('\n'); at != std::string::npos; at = content.find('\n', at + 1)) {
        ends.push_back(at + 1);
    }
    const auto isSound = [&content](std::size_t end) {
        const std::unique_ptr<GKeyFile, decltype(&g_key_file_unref)> file(g_key_file_new(),
                                                                          &g_key_file_unref);
        return g_key_file_load_from_data(file.get(), content.data(), end, G_KEY_FILE_NONE, nullptr) != FALSE;
    };
    return std::partition_point(ends.begin(), ends.end(), isSound) - ends.begin() + 1;
}

/** What there is in place of an unknown group or key. */
std::string Known(const std::string& group) {
    std::string known;
    std::string last;
    for (const TvKey* key : TvKeys::ALL) {
        const std::string word = group.empty() ? key->group : key->group == group ? key->name : "";
        known += word.empty() || word == last ? "" : (known.empty() ? "" : ", ") + word;
        last = word.empty() ? last : word;
    }
    return known;
}

/** The value, or the fallback where the key is not set or its value does not fit. */
template <typename Value>
Value ReadOr(Value fallback, Value (*read)(GKeyFile*, const TvKey&), GKeyFile* file, const TvKey& key) {
    try {
        if (IsSet(file, key)) {
            return read(file, key);
        }
    } catch (const std::runtime_error&) {
        return fallback;  // one of the reading's problems
    }
    return fallback;
}

}  // namespace

bool TvKey::IsChoice(std::string_view value) const {
    std::string_view left = choices;
    while (!left.empty()) {
        const auto end = left.find(' ');
        if (left.substr(0, end) == value) {
            return true;
        }
        left.remove_prefix(end == std::string_view::npos ? left.size() : end + 1);
    }
    return false;
}

const TvKey* TvKeys::Find(const std::string& group, const std::string& name) {
    const auto* const found = std::find_if(std::begin(ALL), std::end(ALL), [&](const TvKey* key) {
        return key->group == group && key->name == name;
    });
    return found == std::end(ALL) ? nullptr : *found;
}

TvIni::TvIni() : m_file(g_key_file_new(), &g_key_file_unref) {}

TvIni::TvIni(std::string content, const std::string& path) : TvIni() {
    m_path = path;
    m_content = std::move(content);
    Fault fault;
    if (g_key_file_load_from_data(m_file.get(), m_content.data(), m_content.size(), G_KEY_FILE_NONE,
                                  &fault.error) != FALSE) {
        Validate();
        return;
    }
    m_file.reset(g_key_file_new());
    m_isDamaged = true;
    m_problems = {{DamagedLine(m_content),
                   std::string(fault.error->message) + "; the television has nothing set", true}};
}

TvIni TvIni::Unreadable(std::string problem) {
    TvIni ini;
    ini.m_problems = {{0, std::move(problem), true}};
    ini.m_isDamaged = true;
    return ini;
}

void TvIni::Validate() {
    for (const auto& [line, group, name] : PlacesIn(m_content)) {
        const std::string about = "[" + group + "]" + (name.empty() ? "" : " " + name) + ": ";
        const TvKey* const key = TvKeys::Find(group, name);
        if (key != nullptr) {
            std::size_t& known = m_lines[key];
            if (known != 0) {
                m_problems.push_back(
                    {line, about + "is in line " + std::to_string(known) + " already; the last one counts"});
            }
            known = line;
            try {
                CheckValue(m_file.get(), *key);
            } catch (const Misfit& error) {
                m_problems.push_back({line, about + error.what(), true});
            } catch (const std::runtime_error& error) {
                m_problems.push_back({line, about + error.what()});
            }
        } else if (const std::string keys = Known(group); name.empty() ? keys.empty() : !keys.empty()) {
            const std::string wrong = name.empty() ? "no such group; there are " : "no such key; there are ";
            m_problems.push_back({line, about + wrong + (name.empty() ? Known("") : keys)});
        }
    }
}

std::string TvIni::Problem() const {
    for (const auto& [line, words, isUnset] : m_problems) {
        if (isUnset) {
            return line == 0 ? words
                             : m_path + ", line " + std::to_string(line) + ": " + words +
                                   (m_isDamaged ? "" : TvProblem::UNSET);
        }
    }
    return "";
}

std::size_t TvIni::LineOf(const TvKey& key) const {
    const auto found = m_lines.find(&key);
    return found == m_lines.end() ? 0 : found->second;
}

std::optional<std::string> TvIni::Text(const TvKey& key) const {
    try {
        if (IsSet(m_file.get(), key)) {
            return ReadText(m_file.get(), key);
        }
    } catch (const std::runtime_error&) {  // one of the reading's problems
    }
    return key.fallbackText == nullptr ? std::nullopt : std::make_optional<std::string>(key.fallbackText);
}

std::int64_t TvIni::Integer(const TvKey& key) const {
    return ReadOr(key.fallbackNumber, &ReadInteger, m_file.get(), key);
}

std::vector<std::string> TvIni::List(const TvKey& key) const {
    return ReadOr({}, &ReadList, m_file.get(), key);
}
