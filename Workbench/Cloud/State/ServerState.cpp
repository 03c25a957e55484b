#include "Cloud/State/ServerState.h"

#include <fcntl.h>
#include <glib.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <system_error>

#include "Cli/Json.h"
#include "Files.h"

namespace LocalCloud {

namespace {

constexpr char LOCK_FILE[] = "serve.lock";
constexpr char STATE_FILE[] = "server.json";
// Not the lock of other changes' kind: of this one the system tells who holds it.
constexpr struct flock WHOLE_FILE = {F_WRLCK, SEEK_SET, 0, 0, 0};

Json::Value NewState(pid_t pid) {
    Json::Value state;
    state["pid"] = pid;
    state["port"] = state["started"] = 0;
    for (const char* name : COUNTS) {
        state[name] = 0;
    }
    return state;
}

/** The process that has the lock; 0 where none does. */
pid_t Holder(const std::string& path) {
    const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    struct flock lock = WHOLE_FILE;
    const bool isTold = file >= 0 && ::fcntl(file, F_GETLK, &lock) == 0;
    if (!isTold && errno != ENOENT) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    ::close(file);
    return isTold && lock.l_type != F_UNLCK ? lock.l_pid : 0;
}

}  // namespace

std::optional<Json::Value> FindServer(const Folder& folder) {
    const pid_t holder = Holder(folder.StateFile(LOCK_FILE));
    if (holder == 0) {
        return std::nullopt;
    }
    const std::string path = folder.StateFile(STATE_FILE);
    const auto text = Files::ReadIfThere(path);
    const Json::Value server = text ? Cli::ParseObject(*text, path) : Json::Value();
    // Of another process' writing nothing is believed.
    return Cli::IntegerMember(server, "pid") == holder ? server : NewState(holder);
}

ServerState::ServerState(const Folder& folder)
    : m_lock(::open(folder.StateFile(LOCK_FILE).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, Files::PRIVATE)),
      m_path(folder.StateFile(STATE_FILE)),
      m_state(NewState(::getpid())) {
    if (m_lock >= 0 && ::fcntl(m_lock, F_SETLK, &WHOLE_FILE) == 0) {
        return;
    }
    const int error = errno;
    ::close(m_lock);
    if (error == EAGAIN || error == EACCES) {
        throw std::runtime_error("a server runs on " + folder.Path() +
                                 " already; see: infosync-cloud status --dir '" + folder.Path() + "'");
    }
    throw std::system_error(error, std::generic_category(), folder.StateFile(LOCK_FILE));
}

ServerState::~ServerState() {
    ::unlink(m_path.c_str());
    ::close(m_lock);
}

void ServerState::Listens(int port) {
    m_state["port"] = port;
    m_state["started"] = Json::Int64(g_get_real_time() / G_USEC_PER_SEC);
    if (!Write()) {
        throw std::system_error(errno, std::generic_category(), m_path);
    }
}

void ServerState::Count(const char* what) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_state[what] = m_state[what].asInt64() + 1;
    Write();
}

bool ServerState::Write() const {
    // Not Files::Replace(): it waits for the disk, and this is worth nothing after a power cut.
    const std::string path = m_path + ".new";
    std::ofstream file(path);
    file << Cli::CompactJson(m_state);
    file.close();
    return file.good() && std::rename(path.c_str(), m_path.c_str()) == 0;
}

}  // namespace LocalCloud
