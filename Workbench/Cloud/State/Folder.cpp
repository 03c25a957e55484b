#include "Cloud/State/Folder.h"

#include <glib.h>

#include <filesystem>
#include <stdexcept>

#include "Cli/StateFolder.h"
#include "Cli/Text.h"
#include "Cloud/State/Certificates.h"
#include "Cloud/State/Settings.h"
#include "Cloud/State/Users.h"
#include "Files.h"
#include "Ownership.h"

namespace LocalCloud {

Folder::Folder() : Folder(Cli::StateFolder(FOLDER_VARIABLE, FOLDER_NAME)) {}

Folder::Folder(const std::string& path)
    : m_path(Cli::Taken(g_canonicalize_filename(path.c_str(), nullptr))) {}

Folder Folder::Ready() {
    const Folder folder;
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
    MakeCertificates(TlsFolder());
    Settings(SettingsFile()).Prepare();
}

}  // namespace LocalCloud
