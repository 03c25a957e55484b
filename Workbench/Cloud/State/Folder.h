/** The cloud's folder: where what is kept, and cloud.ini in it. */
#pragma once

#include <cstdint>
#include <string>

#include "Cli/StateFolder.h"

namespace LocalCloud {

inline constexpr char FOLDER_VARIABLE[] = "INFOSYNC_CLOUD_DIR";
inline constexpr char FOLDER_NAME[] = "infosync-cloud";

/** What the cloud hands out for a while: a row for each kind, with all that is said of it anywhere. */
struct Holding {
    /** In cloud.ini, in tokens.json and on the command line. */
    const char* name;
    /** In seconds, where cloud.ini does not say otherwise. */
    std::int64_t lifetime;
    const char* noun;
    /** When a client sees that it was made to expire: it believes that it may still use what it holds. */
    const char* shows;

    static const Holding ACCESS, REFRESH, ACTIVATION, APP;
};

inline constexpr Holding Holding::ACCESS = {
    "access", 3600, "access token",
    "when a television next activates itself or asks for an application token"};
inline constexpr Holding Holding::REFRESH = {
    "refresh", std::int64_t{30} * 86400, "refresh token",
    "when a television's access token has run out ([lifetime] access in cloud.ini)"};
inline constexpr Holding Holding::ACTIVATION = {"activation", std::int64_t{365} * 86400, "activation",
                                                "when a television next asks for an application token"};
inline constexpr Holding Holding::APP = {"app", 86400, "application token",
                                         "with a television's next download"};

inline constexpr const Holding* HOLDINGS[] = {&Holding::ACCESS, &Holding::REFRESH, &Holding::ACTIVATION,
                                              &Holding::APP};

/** Names the parts of the folder. Makes nothing by itself. */
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

    // cloud.ini is read at each call, so that a change takes effect while the server runs. They throw
    // std::runtime_error that names the file.

    /** How long one holds from when it is handed out, in seconds. */
    std::int64_t Lifetime(const Holding& holding) const;
    /** What the cloud signs with. */
    std::string SigningSecret() const;

    /**
     * Makes everything that is missing, and keeps the rest.
     * @throws std::runtime_error, also where the folder is somebody else's
     */
    void Prepare() const;

private:
    void RequireOurs() const;
    /** Writes the defaults of what is missing in cloud.ini. */
    void PrepareSettings() const;

    std::string m_path;
};

}  // namespace LocalCloud
