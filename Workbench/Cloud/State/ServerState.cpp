#include "Cloud/State/ServerState.h"

#include <fcntl.h>
#include <glib.h>
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

[[noreturn]] void Fail(const std::string& path, int error) {
    throw std::runtime_error(path + ": " + g_strerror(error));
}

Json::Value NewState() {
    Json::Value state;
    state["pid"] = state["port"] = state["started"] = 0;
    for (const char* name : COUNTS) {
        state[name] = 0;
    }
    return state;
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
        Fail(path, errno);
    }
    ::close(file);
    return told && lock.l_type != F_UNLCK ? lock.l_pid : 0;
}

}  // namespace

std::optional<Json::Value> FindServer(const Folder& folder) {
    const pid_t holder = Holder(folder.StateFile(LOCK_FILE));
    if (holder == 0) {
        return std::nullopt;
    }
    const std::string path = folder.StateFile(STATE_FILE);
    const auto text = Files::ReadIfThere(path);
    Json::Value server = text ? Cli::ParseObject(*text, path) : NewState();
    // Of another process' writing nothing is believed.
    server = server["pid"] == holder ? server : NewState();
    server["pid"] = holder;
    return server;
}

ServerState::ServerState(const Folder& folder)
    : m_lock(::open(folder.StateFile(LOCK_FILE).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, Files::PRIVATE)),
      m_path(folder.StateFile(STATE_FILE)),
      m_state(NewState()) {
    struct flock lock = WholeFile();
    if (m_lock >= 0 && ::fcntl(m_lock, F_SETLK, &lock) == 0) {
        return;
    }
    const int error = errno;
    ::close(m_lock);
    if (error == EAGAIN || error == EACCES) {
        throw std::runtime_error("a server runs on " + folder.Path() +
                                 " already; see: infosync-cloud status --dir '" + folder.Path() + "'");
    }
    Fail(folder.StateFile(LOCK_FILE), error);
}

ServerState::~ServerState() {
    ::unlink(m_path.c_str());
    ::close(m_lock);
}

void ServerState::Listens(int port) {
    m_state["pid"] = ::getpid();
    m_state["port"] = port;
    m_state["started"] = Json::Int64(g_get_real_time() / G_USEC_PER_SEC);
    if (!Write()) {
        Fail(m_path, errno);
    }
}

void ServerState::Count(const char* what) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_state[what] = Json::Int64(m_state[what].asInt64() + 1);
    Write();
}

bool ServerState::Write() const {
    // Not Files::Replace(): it waits for the disk, and this is worth nothing after a power cut.
    const std::string path = m_path + ".new";
    std::ofstream file(path);
    file << Cli::CompactJson(m_state) << std::flush;
    file.close();
    return file.good() && std::rename(path.c_str(), m_path.c_str()) == 0;
}

}  // namespace LocalCloud
