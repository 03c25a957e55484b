#include "Cloud/State/Settings.h"

#include <glib.h>

#include <cmath>
#include <memory>
#include <stdexcept>

#include "Cli/Text.h"
#include "Cli/Time.h"
#include "Cloud/State/Crypto.h"
#include "Files.h"

namespace LocalCloud {

namespace {

constexpr char LIFETIME[] = "lifetime";
constexpr char SECRET[] = "secret";
constexpr char SIGNING[] = "signing";
constexpr std::size_t SECRET_BYTES = 32;

using KeyFile = std::unique_ptr<GKeyFile, decltype(&g_key_file_free)>;

[[noreturn]] void Refuse(const std::string& path, const std::string& reason) {
    throw std::runtime_error(path + ": " + reason +
                             "; mend it, or remove it: the next command makes another");
}

void RefuseIfDamaged(const std::string& path, GError* error) {
    const std::unique_ptr<GError, decltype(&g_error_free)> owned(error, &g_error_free);
    if (owned) {
        Refuse(path, owned->message);
    }
}

KeyFile Load(const std::string& path, const std::string& content) {
    KeyFile file(g_key_file_new(), &g_key_file_free);
    GError* error = nullptr;
    g_key_file_load_from_data(file.get(), content.data(), content.size(), G_KEY_FILE_KEEP_COMMENTS, &error);
    RefuseIfDamaged(path, error);
    return file;
}

}  // namespace

void Settings::Prepare() const {
    const KeyFile file = Load(m_path, Files::ReadIfThere(m_path).value_or(""));
    bool changed = false;
    const auto add = [&](const char* group, const char* key, const std::string& value) {
        if (g_key_file_has_key(file.get(), group, key, nullptr) == FALSE) {
            g_key_file_set_value(file.get(), group, key, value.c_str());
            changed = true;
        }
    };
    for (const HoldingKind& kind : HOLDINGS) {
        add(LIFETIME, kind.name, Cli::DurationText(kind.lifetime));
    }
    add(SECRET, SIGNING, Hex(RandomBytes(SECRET_BYTES)));
    if (changed) {
        Files::Replace(m_path, Cli::Taken(g_key_file_to_data(file.get(), nullptr, nullptr)));
    }
}

std::int64_t Settings::Lifetime(Holding holding) const {
    const KeyFile file = Load(m_path, Files::Read(m_path));
    const char* name = KindOf(holding).name;
    GError* error = nullptr;
    std::string text = Cli::Taken(g_key_file_get_string(file.get(), LIFETIME, name, &error));
    RefuseIfDamaged(m_path, error);
    // Folders of former versions have bare seconds.
    text += !text.empty() && g_ascii_isdigit(text.back()) != FALSE ? "s" : "";
    const auto seconds = Cli::ParseDuration(text);
    if (!seconds) {
        Refuse(m_path, std::string("[lifetime] ") + name + " is no duration, such as 90s or 1h");
    }
    return std::llround(*seconds);
}

std::string Settings::SigningSecret() const {
    const KeyFile file = Load(m_path, Files::Read(m_path));
    GError* error = nullptr;
    std::string secret = Cli::Taken(g_key_file_get_string(file.get(), SECRET, SIGNING, &error));
    RefuseIfDamaged(m_path, error);
    return secret;
}

}  // namespace LocalCloud
