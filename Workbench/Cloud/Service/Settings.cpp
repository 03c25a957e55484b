#include "Cloud/Service/Settings.h"

#include <glib.h>

#include <map>
#include <memory>

#include "Cloud/Util/Crypto.h"
#include "Cloud/Util/Errors.h"
#include "Files.h"

namespace LocalCloud {

namespace {

constexpr char LIFETIME[] = "lifetime";
constexpr char SECRET[] = "secret";
constexpr char SIGNING[] = "signing";
constexpr std::size_t SECRET_BYTES = 32;

constexpr std::int64_t HOUR = 3600;
constexpr std::int64_t DAY = 24 * HOUR;

const std::map<std::string, std::int64_t>& DefaultLifetimes() {
    static const std::map<std::string, std::int64_t> defaults = {
        {"access", HOUR}, {"activation", 365 * DAY}, {"app", DAY}, {"refresh", 30 * DAY}};
    return defaults;
}

using KeyFile = std::unique_ptr<GKeyFile, decltype(&g_key_file_free)>;

[[noreturn]] void ThrowDamaged(const std::string& path, GError* error) {
    const std::string reason = error->message;
    g_error_free(error);
    throw CloudError(path + ": " + reason + "; mend it, or remove it and run: infosync-cloud init");
}

KeyFile Load(const std::string& path, const std::string& content) {
    KeyFile file(g_key_file_new(), &g_key_file_free);
    GError* error = nullptr;
    if (!content.empty() && g_key_file_load_from_data(file.get(), content.data(), content.size(),
                                                      G_KEY_FILE_KEEP_COMMENTS, &error) == FALSE) {
        ThrowDamaged(path, error);
    }
    return file;
}

void Save(const std::string& path, GKeyFile* file) {
    gsize length = 0;
    const std::unique_ptr<char, decltype(&g_free)> text(g_key_file_to_data(file, &length, nullptr), &g_free);
    Files::Replace(path, std::string(text.get(), length));
}

bool Has(GKeyFile* file, const char* group, const std::string& key) {
    return g_key_file_has_key(file, group, key.c_str(), nullptr) != FALSE;
}

}  // namespace

const std::vector<std::string>& Settings::LifetimeNames() {
    static const std::vector<std::string> names = {"access", "refresh", "activation", "app"};
    return names;
}

void Settings::Prepare() const {
    const KeyFile file = Load(m_path, Files::ReadIfThere(m_path).value_or(""));
    bool changed = false;
    for (const auto& [name, seconds] : DefaultLifetimes()) {
        if (!Has(file.get(), LIFETIME, name)) {
            g_key_file_set_int64(file.get(), LIFETIME, name.c_str(), seconds);
            changed = true;
        }
    }
    if (!Has(file.get(), SECRET, SIGNING)) {
        g_key_file_set_string(file.get(), SECRET, SIGNING, Hex(RandomBytes(SECRET_BYTES)).c_str());
        changed = true;
    }
    if (changed) {
        Save(m_path, file.get());
    }
}

std::int64_t Settings::Lifetime(const std::string& name) const {
    const KeyFile file = Load(m_path, Files::Read(m_path));
    if (!Has(file.get(), LIFETIME, name)) {
        return DefaultLifetimes().at(name);
    }
    GError* error = nullptr;
    const std::int64_t seconds = g_key_file_get_int64(file.get(), LIFETIME, name.c_str(), &error);
    if (error != nullptr) {
        ThrowDamaged(m_path, error);
    }
    return seconds;
}

void Settings::SetLifetime(const std::string& name, std::int64_t seconds) const {
    const KeyFile file = Load(m_path, Files::Read(m_path));
    g_key_file_set_int64(file.get(), LIFETIME, name.c_str(), seconds);
    Save(m_path, file.get());
}

std::string Settings::SigningSecret() const {
    const KeyFile file = Load(m_path, Files::Read(m_path));
    GError* error = nullptr;
    const std::unique_ptr<char, decltype(&g_free)> secret(
        g_key_file_get_string(file.get(), SECRET, SIGNING, &error), &g_free);
    if (error != nullptr) {
        ThrowDamaged(m_path, error);
    }
    return secret.get();
}

}  // namespace LocalCloud
