/** One server for a folder, and what it tells of itself in state/server.json while it runs. */
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>

#include "Cloud/State/Folder.h"

namespace LocalCloud {

struct RunningServer {
    std::int64_t pid = 0;
    /** 0 as long as it does not listen. */
    std::int64_t port = 0;
    /** Seconds since the epoch. */
    std::int64_t started = 0;
    // How often what happened since then.
    std::int64_t requests = 0;
    std::int64_t connections = 0;
    std::int64_t fullHandshakes = 0;
    std::int64_t resumedHandshakes = 0;
    std::int64_t failedHandshakes = 0;
};

/** A member's name in JSON, where "_" stands for a blank in words. */
struct ServerNumber {
    const char* name;
    std::int64_t RunningServer::*number;
};

inline constexpr ServerNumber SERVER_NUMBERS[] = {{"pid", &RunningServer::pid},
                                                  {"port", &RunningServer::port},
                                                  {"started", &RunningServer::started},
                                                  {"requests", &RunningServer::requests},
                                                  {"connections", &RunningServer::connections},
                                                  {"full_handshakes", &RunningServer::fullHandshakes},
                                                  {"resumed_handshakes", &RunningServer::resumedHandshakes},
                                                  {"failed_handshakes", &RunningServer::failedHandshakes}};

/** The server that holds the folder's lock, whatever one that was killed left behind. @throws
 * std::runtime_error */
std::optional<RunningServer> FindServer(const Folder& folder);

/**
 * The lock, held for as long as it lives; the system lets go of it when the process ends in any way. A
 * process has one at most, and must not open the file otherwise.
 */
class ServingLock {
public:
    /** @throws std::runtime_error that says who serves the folder */
    explicit ServingLock(const Folder& folder);
    ~ServingLock();
    ServingLock(const ServingLock&) = delete;
    ServingLock& operator=(const ServingLock&) = delete;

private:
    int m_file;
};

/** Writes state/server.json, whole at any moment, and removes it at the end. Safe from any thread. */
class ServerState {
public:
    /** @throws std::runtime_error when it cannot be written */
    ServerState(const Folder& folder, int port);
    ~ServerState();
    ServerState(const ServerState&) = delete;
    ServerState& operator=(const ServerState&) = delete;

    /** What cannot be written, on a full disk say, is written with the next count that can. */
    void Count(std::int64_t RunningServer::*what);

private:
    bool Write() const;

    std::string m_path;
    std::mutex m_mutex;
    RunningServer m_server;
};

}  // namespace LocalCloud
