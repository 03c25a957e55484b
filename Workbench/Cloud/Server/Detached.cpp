#include "Cloud/Server/Detached.h"

#include <fcntl.h>
#include <glib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <array>
#include <cerrno>

#include "Cloud/Util/Errors.h"
#include "Files.h"

namespace LocalCloud {

namespace {

/** Leaves the terminal, and takes from the caller what a pipe behind it would wait for. */
void LeaveCaller(const std::string& logFile) {
    ::setsid();
    const int nothing = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    const int log = ::open(logFile.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, Files::PRIVATE);
    ::dup2(nothing, STDIN_FILENO);
    ::dup2(nothing, STDOUT_FILENO);
    ::dup2(log >= 0 ? log : nothing, STDERR_FILENO);
}

/** What comes through the pipe until its other end is closed. */
std::string ReadAll(int pipe) {
    std::string text;
    std::array<char, 4096> piece = {};
    for (ssize_t count = 0; (count = ::read(pipe, piece.data(), piece.size())) > 0;) {
        text.append(piece.data(), static_cast<std::size_t>(count));
    }
    return text;
}

}  // namespace

void ServeDetached(const Folder& folder, const ServeOptions& options,
                   const std::function<void(const std::string&)>& ready) {
    std::array<int, 2> pipe = {};
    const pid_t server = ::pipe2(pipe.data(), O_CLOEXEC) == 0 ? ::fork() : -1;
    if (server < 0) {
        throw CloudError(std::string("could not start another process: ") + g_strerror(errno));
    }
    if (server == 0) {
        ServeUntilStopped(folder, options, [&](const std::string& where) {
            LeaveCaller(folder.StateFile("serve.log"));
            // Nobody is there to be told when this fails.
            static_cast<void>(::write(pipe[1], where.data(), where.size()) < 0);
            ::close(pipe[1]);
        });
        return;
    }
    ::close(pipe[1]);
    const std::string where = ReadAll(pipe[0]);
    ::close(pipe[0]);
    if (!where.empty()) {
        ready(where);
        return;
    }
    int status = 0;
    ::waitpid(server, &status, 0);
    if (WIFEXITED(status)) {
        throw CLI::RuntimeError(WEXITSTATUS(status));
    }
    throw CloudError("the server ended before it answered");
}

}  // namespace LocalCloud
