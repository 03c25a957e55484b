#include "Cloud/Server/Detached.h"

#include <fcntl.h>
#include <glib.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <exception>

#include "Cloud/Util/Errors.h"
#include "Files.h"

namespace LocalCloud {

namespace {

// The first byte of what the new process reports: the rest is where it serves, or why it does not.
constexpr char SERVES = '+';
constexpr char FAILED = '-';

constexpr int LONGEST_START_MS = 30'000;

/** Leaves the terminal, and takes from the caller what a pipe behind it would wait for. */
void LeaveCaller(const std::string& logFile) {
    ::setsid();
    const int nothing = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    const int log = ::open(logFile.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, Files::PRIVATE);
    ::dup2(nothing, STDIN_FILENO);
    ::dup2(nothing, STDOUT_FILENO);
    ::dup2(log >= 0 ? log : nothing, STDERR_FILENO);
}

void Report(int pipe, char outcome, const std::string& text) {
    const std::string message = outcome + text;
    // Nobody is there to be told when this fails.
    static_cast<void>(::write(pipe, message.data(), message.size()) < 0);
    ::close(pipe);
}

[[noreturn]] void Serve(const Folder& folder, const ServeOptions& options, int pipe) {
    LeaveCaller(folder.StateFile("serve.log"));
    bool reported = false;
    try {
        ServeUntilStopped(folder, options, [&](const std::string& where) {
            reported = true;
            Report(pipe, SERVES, where);
        });
    } catch (const std::exception& error) {
        if (!reported) {
            Report(pipe, FAILED, error.what());
        }
    }
    ::_exit(0);
}

/** What comes through the pipe until its other end is closed, or until the time is over. */
std::string ReadReport(int pipe) {
    std::string report;
    std::array<char, 4096> piece = {};
    pollfd descriptor = {pipe, POLLIN, 0};
    while (::poll(&descriptor, 1, LONGEST_START_MS) > 0) {
        const ssize_t count = ::read(pipe, piece.data(), piece.size());
        if (count <= 0) {
            break;
        }
        report.append(piece.data(), static_cast<std::size_t>(count));
    }
    ::close(pipe);
    return report;
}

}  // namespace

std::string ServeDetached(const Folder& folder, const ServeOptions& options) {
    folder.Prepare();
    std::array<int, 2> pipe = {};
    if (::pipe2(pipe.data(), O_CLOEXEC) != 0) {
        throw CloudError(std::string("could not make a pipe: ") + g_strerror(errno));
    }
    const pid_t server = ::fork();
    if (server == 0) {
        ::close(pipe[0]);
        Serve(folder, options, pipe[1]);
    }
    ::close(pipe[1]);
    const std::string report = ReadReport(pipe[0]);
    if (report[0] == SERVES) {
        return report.substr(1);
    }
    if (server > 0) {
        ::kill(server, SIGKILL);
    }
    throw CloudError(report.size() > 1 ? report.substr(1)
                                       : "the server ended, or took too long, before it answered");
}

}  // namespace LocalCloud
