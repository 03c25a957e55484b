#include "Cloud/State/Folder.h"

#include <glib.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <memory>
#include <stdexcept>

#include "Cli/Json.h"
#include "Cli/Text.h"
#include "Cli/Time.h"
#include "Cloud/State/Certificates.h"
#include "Cloud/State/Crypto.h"
#include "Files.h"
#include "Ownership.h"

namespace LocalCloud {

namespace {

[[noreturn]] void RefuseSettings(const std::string& path, const std::string& reason) {
    throw std::runtime_error(path + ": " + reason +
                             "; mend it, or remove it: the next command makes another");
}

}  // namespace

std::string FileNameOfLogin(const std::string& login) {
    std::string name = Cli::Taken(g_uri_escape_string(login.c_str(), "@+ ", TRUE));
    if (name.compare(0, 1, ".") == 0) {
        name.replace(0, 1, "%2E");
    }
    return name;
}

bool IsLogin(const std::string& login) {
    // A file name has 255 bytes at most, the suffix included.
    constexpr std::size_t LONGEST_FILE_NAME = 240;
    const bool hasControls =
        std::any_of(login.begin(), login.end(), [](char byte) { return g_ascii_iscntrl(byte) != FALSE; });
    return !login.empty() && !hasControls && Cli::IsUtf8(login).empty() &&
           FileNameOfLogin(login).size() <= LONGEST_FILE_NAME;
}

Json::Value ReadOwn(const std::string& path, const std::string& ifRemoved,
                    const std::function<bool(const Json::Value&)>& isSound) {
    const auto text = Files::ReadIfThere(path);
    try {
        Json::Value value = text ? Cli::ParseObject(*text, path) : Json::Value(Json::objectValue);
        if (!isSound(value)) {
            throw std::runtime_error(path + ": not what the cloud wrote");
        }
        return value;
    } catch (const std::exception& damage) {
        throw std::runtime_error(std::string(damage.what()) + "; remove " + path + ": " + ifRemoved);
    }
}

Folder::Folder(const std::string& path)
    : m_path(Cli::Taken(g_canonicalize_filename(path.c_str(), nullptr))), m_settings(m_path + "/cloud.ini") {
    RequireOurs();
    // What is complete can be read where nothing may be written.
    for (const auto& part : {m_settings, UsersFolder(), CaFile(), TlsFolder() + "/ca.key", StateFile("")}) {
        if (!std::filesystem::exists(part)) {
            Prepare();
        }
    }
}

void Folder::RequireOurs() const {
    for (const auto& part : {m_path, m_settings, UsersFolder(), TlsFolder(), StateFile("")}) {
        const std::string reason = WhyNotOurs(part);
        if (!reason.empty()) {
            throw std::runtime_error(reason);
        }
    }
}

void Folder::Prepare() const {
    Files::MakeFolder(UsersFolder());
    Files::MakeFolder(StateFile(""));
    const Cli::FileLock oneAtATime = LockForEdit();
    MakeAuthority(TlsFolder());
    if (!std::filesystem::exists(m_settings)) {
        Files::Replace(m_settings,
                       "[lifetime]\naccess=1h\nrefresh=30d\nactivation=365d\napp=1d\n\n[secret]\nsigning=" +
                           RandomDigits() + "\n");
    }
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

std::string Folder::Setting(const char* group, const char* key) const {
    const std::string content = Files::Read(m_settings);
    g_autoptr(GKeyFile) file = g_key_file_new();
    g_autoptr(GError) error = nullptr;
    g_key_file_load_from_data(file, content.data(), content.size(), G_KEY_FILE_NONE, &error);
    std::string text = error == nullptr ? Cli::Taken(g_key_file_get_string(file, group, key, &error)) : "";
    if (error != nullptr) {
        RefuseSettings(m_settings, error->message);
    }
    return text;
}

std::int64_t Folder::Lifetime(const Holding& holding) const {
    const auto seconds = Cli::ParseDuration(Setting("lifetime", holding.name));
    if (!seconds) {
        RefuseSettings(m_settings,
                       std::string("[lifetime] ") + holding.name + " is no duration, such as 90s or 1h");
    }
    return std::llround(*seconds);
}

std::string Folder::SigningSecret() const {
    return Setting("secret", "signing");
}

}  // namespace LocalCloud
