#include "Cloud/Server/Serve.h"

#include <fcntl.h>
#include <glib.h>
#include <malloc.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <stdexcept>
#include <thread>

#include "Cli/Errors.h"
#include "Cloud/Server/CloudServer.h"
#include "Files.h"

namespace LocalCloud {

namespace {

constexpr int LEAST_GIVEN_BACK = 64 << 10;

sigset_t PrepareSignals() {
    // A file that may not grow any more is an error to report, not the end of the server.
    static_cast<void>(::signal(SIGXFSZ, SIG_IGN));
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

/** So that silent connections leave room for the files of others. */
void RaiseFileLimit() {
    rlimit files = {};
    if (::getrlimit(RLIMIT_NOFILE, &files) == 0) {
        files.rlim_cur = files.rlim_max;
        ::setrlimit(RLIMIT_NOFILE, &files);
    }
}

/** Leaves the terminal, and takes from the caller what a pipe behind it would wait for. */
void LeaveCaller(const std::string& logFile) {
    ::setsid();
    const int nothing = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    const int log = ::open(logFile.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, Files::PRIVATE);
    ::dup2(nothing, STDIN_FILENO);
    ::dup2(nothing, STDOUT_FILENO);
    ::dup2(log >= 0 ? log : nothing, STDERR_FILENO);
}

}  // namespace

void ServeUntilStopped(const Folder& folder, const ServeOptions& options, const Ready& ready) {
    const sigset_t signals = PrepareSignals();
    RaiseFileLimit();
    // What a large request took is given back, and no thread keeps memory of its own.
    ::mallopt(M_MMAP_THRESHOLD, LEAST_GIVEN_BACK);
    ::mallopt(M_ARENA_MAX, 1);
    folder.Prepare();
    ServerState state(folder);
    Cloud cloud(folder, options.anyUser, [] { return g_get_real_time() / 1000; });
    cloud.users.List();  // what may not be read is refused now, not in a client's answer
    CloudServer server(cloud, state);
    const int port = server.Bind(options.port);
    state.Listens(port);
    std::thread listening([&] {
        server.listen_after_bind();
        // However it ended: the way a signal from outside would end all.
        ::kill(::getpid(), SIGTERM);
    });
    while (!server.is_running()) {  // to stop one that does not run yet would have no effect
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    ready("serving https://127.0.0.1:" + std::to_string(port) + " from " + folder.Path() + ", CA file " +
          folder.CaFile());
    int signal = 0;
    sigwait(&signals, &signal);
    server.EndConnections();
    server.stop();
    listening.join();
}

void ServeDetached(const Folder& folder, const ServeOptions& options, const Ready& ready) {
    std::array<int, 2> pipe = {};
    const pid_t server = ::pipe2(pipe.data(), O_CLOEXEC) == 0 ? ::fork() : -1;
    if (server < 0) {
        throw std::runtime_error(std::string("could not start another process: ") + g_strerror(errno));
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
    std::array<char, 8192> where = {};
    const ssize_t size = ::read(pipe[0], where.data(), where.size());
    ::close(pipe[0]);
    if (size > 0) {
        ready({where.data(), static_cast<std::size_t>(size)});
        return;
    }
    int status = 0;
    ::waitpid(server, &status, 0);
    if (WIFEXITED(status)) {
        throw Cli::ToldAlready(WEXITSTATUS(status));
    }
    throw std::runtime_error("the server ended before it answered");
}

}  // namespace LocalCloud
