/** One server for a folder, and what it tells of itself in state/server.json while it runs. */
#pragma once

#include <json/json.h>

#include <mutex>
#include <optional>
#include <string>

#include "Cloud/State/Folder.h"

namespace LocalCloud {

/** How often what happened to a running server, as server.json has it; "_" stands for a blank in words. */
inline constexpr const char* COUNTS[] = {"requests", "connections", "full_handshakes", "resumed_handshakes",
                                         "failed_handshakes"};

/**
 * What the server tells that holds the folder's lock, whatever one that was killed left behind: its "pid",
 * and, from when it listens, its "port", "started" (seconds since the epoch) and COUNTS; 0 before.
 * @throws std::runtime_error
 */
std::optional<Json::Value> FindServer(const Folder& folder);

/**
 * Holds the lock for as long as it lives; the system lets go of it when the process ends in any way. A
 * process has one at most, and must not open the file otherwise. Safe from any thread.
 */
class ServerState {
public:
    /** @throws std::runtime_error that says who serves the folder */
    explicit ServerState(const Folder& folder);
    ~ServerState();
    ServerState(const ServerState&) = delete;
    ServerState& operator=(const ServerState&) = delete;

    /** From now on what the server tells is in the file, whole at any moment, until the end. @throws
     * std::runtime_error when it cannot be written */
    void Listens(int port);

    /** One of COUNTS. What cannot be written, on a full disk say, is written with the next count that can. */
    void Count(const char* what);

private:
    bool Write() const;

    int m_lock;
    std::string m_path;
    std::mutex m_mutex;
    Json::Value m_state;
};

}  // namespace LocalCloud
