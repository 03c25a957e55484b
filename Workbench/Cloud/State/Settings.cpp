#include "Cloud/State/Settings.h"

#include <glib.h>

#include <memory>
#include <stdexcept>

#include "Cloud/State/Crypto.h"
#include "Files.h"

namespace LocalCloud {

namespace {

constexpr char LIFETIME[] = "lifetime";
constexpr char SECRET[] = "secret";
constexpr char SIGNING[] = "signing";
constexpr std::size_t SECRET_BYTES = 32;

constexpr std::int64_t HOUR = 3600;
constexpr std::int64_t DAY = 24 * HOUR;

constexpr std::pair<const char*, std::int64_t> DEFAULTS[] = {
    {"access", HOUR}, {"refresh", 30 * DAY}, {"activation", 365 * DAY}, {"app", DAY}};

using KeyFile = std::unique_ptr<GKeyFile, decltype(&g_key_file_free)>;
using Text = std::unique_ptr<char, decltype(&g_free)>;

void ThrowIfDamaged(const std::string& path, GError* error) {
    const std::unique_ptr<GError, decltype(&g_error_free)> owned(error, &g_error_free);
    if (owned) {
        throw std::runtime_error(path + ": " + owned->message +
                                 "; mend it, or remove it and run: infosync-cloud init");
    }
}

KeyFile Load(const std::string& path, const std::string& content) {
    KeyFile file(g_key_file_new(), &g_key_file_free);
    GError* error = nullptr;
    g_key_file_load_from_data(file.get(), content.data(), content.size(), G_KEY_FILE_KEEP_COMMENTS, &error);
    ThrowIfDamaged(path, error);
    return file;
}

std::string Content(GKeyFile* file) {
    const Text text(g_key_file_to_data(file, nullptr, nullptr), &g_free);
    return text.get();
}

bool Has(GKeyFile* file, const char* group, const char* key) {
    return g_key_file_has_key(file, group, key, nullptr) != FALSE;
}

}  // namespace

std::vector<std::string> Settings::LifetimeNames() {
    std::vector<std::string> names;
    for (const auto& lifetime : DEFAULTS) {
        names.emplace_back(lifetime.first);
    }
    return names;
}

void Settings::Prepare() const {
    const KeyFile file = Load(m_path, Files::ReadIfThere(m_path).value_or(""));
    const std::string before = Content(file.get());
    for (const auto& [name, seconds] : DEFAULTS) {
        if (!Has(file.get(), LIFETIME, name)) {
            g_key_file_set_int64(file.get(), LIFETIME, name, seconds);
        }
    }
    if (!Has(file.get(), SECRET, SIGNING)) {
        g_key_file_set_string(file.get(), SECRET, SIGNING, Hex(RandomBytes(SECRET_BYTES)).c_str());
    }
    if (Content(file.get()) != before) {
        Files::Replace(m_path, Content(file.get()));
    }
}

std::int64_t Settings::Lifetime(const std::string& name) const {
    const KeyFile file = Load(m_path, Files::Read(m_path));
    GError* error = nullptr;
    const std::int64_t seconds = g_key_file_get_int64(file.get(), LIFETIME, name.c_str(), &error);
    ThrowIfDamaged(m_path, error);
    return seconds;
}

void Settings::SetLifetime(const std::string& name, std::int64_t seconds) const {
    const KeyFile file = Load(m_path, Files::Read(m_path));
    g_key_file_set_int64(file.get(), LIFETIME, name.c_str(), seconds);
    Files::Replace(m_path, Content(file.get()));
}

std::string Settings::SigningSecret() const {
    const KeyFile file = Load(m_path, Files::Read(m_path));
    GError* error = nullptr;
    const Text secret(g_key_file_get_string(file.get(), SECRET, SIGNING, &error), &g_free);
    ThrowIfDamaged(m_path, error);
    return secret.get();
}

}  // namespace LocalCloud
