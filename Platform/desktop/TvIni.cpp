#include "TvIni.h"

#include <stdexcept>
#include <utility>

namespace {

/** Takes a GLib call's error and throws it; for values that are there but do not fit. */
struct Fault {
    GError* error = nullptr;

    Fault() = default;
    Fault(const Fault&) = delete;
    Fault& operator=(const Fault&) = delete;
    ~Fault() {
        g_clear_error(&error);
    }
    void Check() const {
        if (error != nullptr) {
            throw std::runtime_error(error->message);
        }
    }
};

std::string ReadText(GKeyFile* file, const TvKey& key) {
    Fault fault;
    const std::unique_ptr<char, decltype(&g_free)> text(
        g_key_file_get_string(file, key.group, key.name, &fault.error), &g_free);
    fault.Check();
    if (key.type == TvKey::Type::Choice && !key.IsChoice(text.get())) {
        throw std::runtime_error("“" + std::string(text.get()) + "” is none of: " + key.choices);
    }
    return text.get();
}

std::int64_t ReadInteger(GKeyFile* file, const TvKey& key) {
    Fault fault;
    const std::int64_t number = g_key_file_get_int64(file, key.group, key.name, &fault.error);
    fault.Check();
    if (number < key.least || number > key.most) {
        throw std::runtime_error(std::to_string(number) + " is not from " + std::to_string(key.least) +
                                 " to " + std::to_string(key.most));
    }
    return number;
}

std::vector<std::string> ReadList(GKeyFile* file, const TvKey& key) {
    Fault fault;
    gsize count = 0;
    const std::unique_ptr<char*, decltype(&g_strfreev)> items(
        g_key_file_get_string_list(file, key.group, key.name, &count, &fault.error), &g_strfreev);
    fault.Check();
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

void CheckValue(GKeyFile* file, const TvKey& key) {
    switch (key.type) {
        case TvKey::Type::Text:
        case TvKey::Type::Choice:
        case TvKey::Type::File:
        case TvKey::Type::Origin:
            ReadText(file, key);
            break;
        case TvKey::Type::Integer:
            ReadInteger(file, key);
            break;
        case TvKey::Type::Addresses:
        case TvKey::Type::Routes:
            ReadList(file, key);
            break;
    }
}

/** The first value that does not fit; empty when all do. */
std::string ProblemOfValues(GKeyFile* file) {
    for (const TvKey* key : TvKeys::ALL) {
        try {
            if (IsSet(file, *key)) {
                CheckValue(file, *key);
            }
        } catch (const std::runtime_error& error) {
            return std::string("[") + key->group + "] " + key->name + ": " + error.what() +
                   "; it counts as not set. Correct it, for example with: infosync-tv set " + key->group +
                   "." + key->name + " VALUE";
        }
    }
    return {};
}

/** The value, or the fallback where the key is not set or its value does not fit. */
template <typename Value>
Value ReadOr(Value fallback, Value (*read)(GKeyFile*, const TvKey&), GKeyFile* file, const TvKey& key) {
    try {
        if (IsSet(file, key)) {
            return read(file, key);
        }
    } catch (const std::runtime_error&) {
        return fallback;  // told once already, as the reading's problem
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

TvIni::TvIni() : m_file(g_key_file_new(), &g_key_file_unref) {}

TvIni::TvIni(std::string content, const std::string& path) : TvIni() {
    m_path = path;
    m_content = std::move(content);
    Fault fault;
    if (g_key_file_load_from_data(m_file.get(), m_content.data(), m_content.size(), G_KEY_FILE_NONE,
                                  &fault.error) == FALSE) {
        m_file.reset(g_key_file_new());
        m_isDamaged = true;
        m_problem = path + ": " + fault.error->message +
                    "; the television has nothing set. Correct the file, or delete it and make one with: "
                    "infosync-tv init";
        return;
    }
    const std::string problem = ProblemOfValues(m_file.get());
    if (!problem.empty()) {
        m_problem = path + ": " + problem;
    }
}

TvIni TvIni::Unreadable(std::string problem) {
    TvIni ini;
    ini.m_problem = std::move(problem);
    ini.m_isDamaged = true;
    return ini;
}

std::optional<std::string> TvIni::Text(const TvKey& key) const {
    try {
        if (IsSet(m_file.get(), key)) {
            return ReadText(m_file.get(), key);
        }
    } catch (const std::runtime_error&) {  // told once already, as the reading's problem
    }
    return key.fallbackText == nullptr ? std::nullopt : std::make_optional<std::string>(key.fallbackText);
}

std::int64_t TvIni::Integer(const TvKey& key) const {
    return ReadOr(key.fallbackNumber, &ReadInteger, m_file.get(), key);
}

std::vector<std::string> TvIni::List(const TvKey& key) const {
    return ReadOr({}, &ReadList, m_file.get(), key);
}
