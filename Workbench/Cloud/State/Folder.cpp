#include "Cloud/State/Folder.h"

#include <glib.h>

#include <cmath>
#include <filesystem>
#include <memory>
#include <stdexcept>

#include "Cli/StateFolder.h"
#include "Cli/Text.h"
#include "Cli/Time.h"
#include "Cloud/State/Certificates.h"
#include "Cloud/State/Crypto.h"
#include "Cloud/State/Users.h"
#include "Files.h"
#include "Ownership.h"

namespace LocalCloud {

namespace {

constexpr char LIFETIME[] = "lifetime";
constexpr char SECRET[] = "secret";
constexpr char SIGNING[] = "signing";

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

std::string Setting(const std::string& path, const char* group, const char* key) {
    const KeyFile file = Load(path, Files::Read(path));
    GError* error = nullptr;
    std::string text = Cli::Taken(g_key_file_get_string(file.get(), group, key, &error));
    RefuseIfDamaged(path, error);
    return text;
}

}  // namespace

Folder::Folder() : Folder(Cli::StateFolder(FOLDER_VARIABLE, FOLDER_NAME)) {}

Folder::Folder(const std::string& path)
    : m_path(Cli::Taken(g_canonicalize_filename(path.c_str(), nullptr))) {}

Folder Folder::Ready() {
    Folder folder;
    folder.RequireOurs();
    // What is complete can be read where nothing may be written.
    for (const auto& part : {folder.SettingsFile(), folder.UsersFolder(), folder.CaFile()}) {
        if (!std::filesystem::exists(part)) {
            folder.Prepare();
        }
    }
    return folder;
}

std::string Folder::RecordsFile(const std::string& login) const {
    return UsersFolder() + "/" + FileNameOfLogin(login) + ".json";
}

std::string Folder::LedgerFile(const std::string& login) const {
    return StateFile("records/" + FileNameOfLogin(login) + ".json");
}

std::string Folder::ExpiredMarkFile(const std::string& login) const {
    return StateFile("expired-marks/" + FileNameOfLogin(login));
}

void Folder::RequireOurs() const {
    for (const auto& part : {m_path, SettingsFile(), UsersFolder(), TlsFolder(), m_path + "/state"}) {
        const std::string reason = WhyNotOurs(part);
        if (!reason.empty()) {
            throw std::runtime_error(reason);
        }
    }
}

void Folder::Prepare() const {
    RequireOurs();
    for (const auto& part : {UsersFolder(), TlsFolder(), StateFile("records"), StateFile("expired-marks")}) {
        Files::MakeFolder(part);
    }
    const Cli::FileLock oneAtATime = LockForEdit();
    MakeAuthority(TlsFolder());
    PrepareSettings();
}

void Folder::PrepareSettings() const {
    const KeyFile file = Load(SettingsFile(), Files::ReadIfThere(SettingsFile()).value_or(""));
    bool changed = false;
    const auto add = [&](const char* group, const char* key, const std::string& value) {
        if (g_key_file_has_key(file.get(), group, key, nullptr) == FALSE) {
            g_key_file_set_value(file.get(), group, key, value.c_str());
            changed = true;
        }
    };
    for (const Holding* holding : HOLDINGS) {
        add(LIFETIME, holding->name, Cli::DurationText(holding->lifetime));
    }
    add(SECRET, SIGNING, RandomDigits());
    if (changed) {
        Files::Replace(SettingsFile(), Cli::Taken(g_key_file_to_data(file.get(), nullptr, nullptr)));
    }
}

std::int64_t Folder::Lifetime(const Holding& holding) const {
    std::string text = Setting(SettingsFile(), LIFETIME, holding.name);
    // Folders of former versions have bare seconds.
    text += !text.empty() && g_ascii_isdigit(text.back()) != FALSE ? "s" : "";
    const auto seconds = Cli::ParseDuration(text);
    if (!seconds) {
        Refuse(SettingsFile(),
               std::string("[lifetime] ") + holding.name + " is no duration, such as 90s or 1h");
    }
    return std::llround(*seconds);
}

std::string Folder::SigningSecret() const {
    return Setting(SettingsFile(), SECRET, SIGNING);
}

}  // namespace LocalCloud
