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

    /** The same as Folder(), with everything in it that was missing. @throws std::runtime_error as Prepare()
     */
    static Folder Ready();

    const std::string& Path() const {
        return m_path;
    }
    std::string SettingsFile() const {
        return m_path + "/cloud.ini";
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
    std::string StateFile(const std::string& name) const {
        return m_path + "/state/" + name;
    }

    /** A user's records, for people to edit. */
    std::string RecordsFile(const std::string& login) const;
    /** What the cloud remembers of those records: when each changed. */
    std::string LedgerFile(const std::string& login) const;
    /** There while the user's marks no longer hold; its text is the code to refuse them with. */
    std::string ExpiredMarkFile(const std::string& login) const;

    /** Waits for it; for whoever changes what the server or a command may change at any time. */
    Cli::FileLock LockForEdit() const {
        return {StateFile("edit.lock"), Cli::FileLock::Wait::YES};
    }

    /**
     * Makes everything that is missing, a certificate that is about to expire anew, and keeps the rest.
     * @throws std::runtime_error, also where the folder is somebody else's
     */
    void Prepare() const;

private:
    void RequireOurs() const;

    std::string m_path;
};

}  // namespace LocalCloud
