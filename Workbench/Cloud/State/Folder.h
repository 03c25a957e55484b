/** The cloud's folder: where what is kept. */
#pragma once

#include <string>

#include "Cli/FileLock.h"

namespace LocalCloud {

inline constexpr char FOLDER_VARIABLE[] = "INFOSYNC_CLOUD_DIR";
inline constexpr char FOLDER_NAME[] = "infosync-cloud";

/** Names the parts of the folder. Makes and reads nothing by itself. */
class Folder {
public:
    /** $INFOSYNC_CLOUD_DIR, or infosync-cloud in the user's XDG state folder. */
    Folder();
    explicit Folder(const std::string& path);

    /** The same as Folder(). @throws std::runtime_error that says what to do, unless `init` was here and
     * nobody else prepared the folder */
    static Folder Ready();

    const std::string& Path() const {
        return m_path;
    }
    std::string SettingsFile() const {
        return m_path + "/cloud.ini";
    }
    std::string ControlSecretFile() const {
        return m_path + "/control.secret";
    }
    std::string UsersFolder() const {
        return m_path + "/users";
    }
    std::string TlsFolder() const {
        return m_path + "/tls";
    }
    std::string CaFile() const {
        return TlsFolder() + "/ca.pem";
    }
    /** Says where the running server listens. */
    std::string ServerFile() const {
        return StateFile("server.json");
    }
    std::string StateFile(const std::string& name) const {
        return m_path + "/state/" + name;
    }

    /** A user's records, for people to edit. */
    std::string RecordsFile(const std::string& login) const;
    /** What the cloud remembers of those records: when each changed. */
    std::string LedgerFile(const std::string& login) const;
    /** There while the user's marks no longer hold; its text is the code to refuse them with. */
    std::string ExpiredMarkFile(const std::string& login) const;

    /** What the commands must know to be heard by the server. @throws std::runtime_error when there is none
     */
    std::string ControlSecret() const;
    /** Waits for it; for whoever changes what the user or a command may change at any time. */
    Cli::FileLock LockForEdit() const {
        return {StateFile("edit.lock"), Cli::FileLock::Wait::YES};
    }
    /** Held by the server, or by whoever does its work while none runs. Does not wait. */
    Cli::FileLock LockForServing() const {
        return {StateFile("serve.lock"), Cli::FileLock::Wait::NO};
    }
    /**
     * Makes everything that is missing and keeps everything that is there.
     * @throws std::runtime_error, also where the folder is somebody else's
     */
    void Prepare() const;

private:
    void RequireOurs() const;

    std::string m_path;
};

}  // namespace LocalCloud
