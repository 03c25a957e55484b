/** The cloud's folder: where what is kept, and cloud.ini in it. */
#pragma once

#include <json/json.h>

#include <cstdint>
#include <functional>
#include <string>

#include "Cli/StateFolder.h"

namespace LocalCloud {

inline constexpr char FOLDER_VARIABLE[] = "INFOSYNC_CLOUD_DIR";
inline constexpr char FOLDER_NAME[] = "infosync-cloud";

/** What the cloud hands out for a while: a row for each kind, with all that is said of it anywhere. */
struct Holding {
    /** In cloud.ini, in tokens.json and on the command line. */
    const char* name;
    const char* noun;
    /** When a client sees that it was made to expire: it believes that it may still use what it holds. */
    const char* shows;

    static const Holding ACCESS, REFRESH, ACTIVATION, APP;
};

inline constexpr Holding Holding::ACCESS = {
    "access", "access token", "when a television next activates itself or asks for an application token"};
inline constexpr Holding Holding::REFRESH = {
    "refresh", "refresh token",
    "when a television's access token has run out ([lifetime] access in cloud.ini)"};
inline constexpr Holding Holding::ACTIVATION = {"activation", "activation",
                                                "when a television next asks for an application token"};
inline constexpr Holding Holding::APP = {"app", "application token", "with a television's next download"};

inline constexpr const Holding* HOLDINGS[] = {&Holding::ACCESS, &Holding::REFRESH, &Holding::ACTIVATION,
                                              &Holding::APP};

/** UTF-8 without control characters, not empty, of a file name's length. */
bool IsLogin(const std::string& login);

/** One to one for every text that IsLogin() accepts, and never a path that leads elsewhere. */
std::string FileNameOfLogin(const std::string& login);

/**
 * The object in a file that the cloud wrote itself; empty where there is none.
 * @param ifRemoved what becomes of it when the user removes a damaged one
 * @throws std::runtime_error that says so, also when the check throws or denies that it is sound
 */
Json::Value ReadOwn(const std::string& path, const std::string& ifRemoved,
                    const std::function<bool(const Json::Value&)>& isSound);

class Folder {
public:
    /** Makes everything that is missing, and keeps the rest. @throws std::runtime_error, also where the
     * folder is somebody else's */
    explicit Folder(const std::string& path = Cli::StateFolder(FOLDER_VARIABLE, FOLDER_NAME));

    const std::string& Path() const {
        return m_path;
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
    /** When each of them changed. */
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

private:
    void RequireOurs() const;
    void Prepare() const;
    std::string Setting(const char* group, const char* key) const;

    std::string m_path;
    std::string m_settings;
};

}  // namespace LocalCloud
