#include "Cloud/State/ServerState.h"

#include <fcntl.h>
#include <glib.h>
#include <json/json.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <fstream>
#include <stdexcept>

#include "Cli/Json.h"
#include "Files.h"

namespace LocalCloud {

namespace {

constexpr char LOCK_FILE[] = "serve.lock";
constexpr char STATE_FILE[] = "server.json";

[[noreturn]] void Fail(const std::string& path) {
    throw std::runtime_error(path + ": " + g_strerror(errno));
}

struct flock WholeFile() {
    struct flock whole = {};
    whole.l_type = F_WRLCK;
    whole.l_whence = SEEK_SET;
    return whole;
}

/** The process that has the lock; 0 where none does. */
pid_t Holder(const std::string& path) {
    const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    struct flock lock = WholeFile();
    const bool told = file >= 0 && ::fcntl(file, F_GETLK, &lock) == 0;
    if (!told && errno != ENOENT) {
        Fail(path);
    }
    ::close(file);
    return told && lock.l_type != F_UNLCK ? lock.l_pid : 0;
}

/** What the holder has written down; of another process' writing nothing is believed. */
RunningServer Read(const std::string& path, pid_t holder) {
    RunningServer server;
    const auto text = Files::ReadIfThere(path);
    const Json::Value state = text ? Cli::ParseObject(*text, path) : Json::Value();
    for (const ServerNumber& each : SERVER_NUMBERS) {
        server.*each.number =
            Cli::IntegerMember(state, "pid") == holder ? Cli::IntegerMember(state, each.name) : 0;
    }
    server.pid = holder;
    return server;
}

}  // namespace

std::optional<RunningServer> FindServer(const Folder& folder) {
    const pid_t holder = Holder(folder.StateFile(LOCK_FILE));
    return holder == 0 ? std::nullopt : std::optional(Read(folder.StateFile(STATE_FILE), holder));
}

ServingLock::ServingLock(const Folder& folder)
    : m_file(::open(folder.StateFile(LOCK_FILE).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, Files::PRIVATE)) {
    struct flock lock = WholeFile();
    if (m_file >= 0 && ::fcntl(m_file, F_SETLK, &lock) == 0) {
        return;
    }
    const bool taken = m_file >= 0 && (errno == EAGAIN || errno == EACCES);
    const int error = errno;
    ::close(m_file);
    if (taken) {
        throw std::runtime_error("a server runs on " + folder.Path() +
                                 " already; see: infosync-cloud status --dir '" + folder.Path() + "'");
    }
    errno = error;
    Fail(folder.StateFile(LOCK_FILE));
}

ServingLock::~ServingLock() {
    ::close(m_file);
}

ServerState::ServerState(const Folder& folder, int port) : m_path(folder.StateFile(STATE_FILE)) {
    m_server.pid = ::getpid();
    m_server.port = port;
    m_server.started = g_get_real_time() / G_USEC_PER_SEC;
    if (!Write()) {
        Fail(m_path);
    }
}

ServerState::~ServerState() {
    ::unlink(m_path.c_str());
}

void ServerState::Count(std::int64_t RunningServer::*what) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    ++(m_server.*what);
    Write();
}

bool ServerState::Write() const {
    Json::Value state;
    for (const ServerNumber& each : SERVER_NUMBERS) {
        state[each.name] = Json::Int64(m_server.*each.number);
    }
    // Not Files::Replace(): it waits for the disk, and this is worth nothing after a power cut.
    const std::string path = m_path + ".new";
    std::ofstream file(path);
    file << Cli::CompactJson(state) << std::flush;
    file.close();
    return file.good() && std::rename(path.c_str(), m_path.c_str()) == 0;
}

}  // namespace LocalCloud
