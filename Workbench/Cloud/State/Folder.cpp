#include "Cloud/State/Folder.h"

#include <glib.h>

#include <filesystem>
#include <memory>
#include <stdexcept>

#include "Cli/StateFolder.h"
#include "Cloud/State/Settings.h"
#include "Cloud/State/Users.h"
#include "Cloud/State/Crypto.h"
#include "Cloud/State/Certificates.h"
#include "Files.h"
#include "Ownership.h"

namespace LocalCloud {

Folder::Folder() : Folder(Cli::StateFolder(FOLDER_VARIABLE, FOLDER_NAME)) {}

Folder::Folder(const std::string& path) {
    const std::unique_ptr<char, decltype(&g_free)> absolute(g_canonicalize_filename(path.c_str(), nullptr),
                                                            &g_free);
    m_path = absolute.get();
}

Folder Folder::Ready() {
    Folder folder;
    folder.RequireOurs();
    for (const auto& file : {folder.SettingsFile(), folder.ControlSecretFile(), folder.CaFile()}) {
        if (!std::filesystem::exists(file)) {
            throw std::runtime_error("there is no cloud in " + folder.m_path +
                                     "; make one with: infosync-cloud init --dir '" + folder.m_path + "'");
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
    for (const auto& part :
         {m_path, SettingsFile(), ControlSecretFile(), UsersFolder(), TlsFolder(), m_path + "/state"}) {
        const std::string reason = WhyNotOurs(part);
        if (!reason.empty()) {
            throw std::runtime_error(reason);
        }
    }
}

std::string Folder::ControlSecret() const {
    std::string secret = Files::Read(ControlSecretFile());
    secret.erase(secret.find_last_not_of(" \n") + 1);
    if (secret.empty()) {
        throw std::runtime_error(ControlSecretFile() + " is empty; remove it and run: infosync-cloud init");
    }
    return secret;
}

void Folder::Prepare() const {
    constexpr std::size_t SECRET_BYTES = 32;
    RequireOurs();
    for (const auto& part : {UsersFolder(), TlsFolder(), StateFile("records"), StateFile("expired-marks")}) {
        Files::MakeFolder(part);
    }
    const Cli::FileLock oneAtATime = LockForEdit();
    MakeCertificates(TlsFolder());
    Settings(SettingsFile()).Prepare();
    if (!std::filesystem::exists(ControlSecretFile())) {
        Files::Replace(ControlSecretFile(), Hex(RandomBytes(SECRET_BYTES)) + "\n");
    }
}

}  // namespace LocalCloud
