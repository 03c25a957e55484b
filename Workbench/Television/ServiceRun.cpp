#include "Television/ServiceRun.h"

#include <fcntl.h>
#include <glib-unix.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "Cli/Time.h"

namespace Television {

namespace {

/** The last signal that came and is to be passed on; 0 for none. */
volatile std::sig_atomic_t heardSignal = 0;

/** Takes over the signals that would end this process. */
void HearSignals() {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction action = {};
        sigaction(signal, nullptr, &action);
        if (action.sa_handler != SIG_IGN) {
            static_cast<void>(std::signal(signal, [](int number) { heardSignal = number; }));
        }
    }
}

/** Between fork and exec: the service ends with this process, and gets the terminal's signals from it. */
void PrepareService(gpointer parent) {
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != *static_cast<pid_t*>(parent)) {
        _exit(1);  // it was gone before the line above
    }
}

/** @param output gets where the service's standard error comes */
pid_t Start(const RunOptions& options, int& output) {
    g_setenv("INFOSYNC_TV_LOG_LEVEL", std::string(1, options.level).c_str(), TRUE);
    pid_t parent = getpid();
    pid_t service = 0;
    std::string path = options.service;
    char* words[] = {path.data(), nullptr};
    GError* error = nullptr;
    g_spawn_async_with_pipes(nullptr, words, nullptr, G_SPAWN_DO_NOT_REAP_CHILD, &PrepareService, &parent,
                             &service, nullptr, nullptr, &output, &error);
    if (error != nullptr) {
        const std::string reason = error->message;
        g_error_free(error);
        throw std::runtime_error(reason + "\nName the service with --service FILE or INFOSYNC_SERVICE");
    }
    g_unix_set_fd_nonblocking(output, TRUE, nullptr);
    return service;
}

/** Ends the service where a signal or the time says so: asks it, and after a while makes it. */
struct Watchdog {
    void Look() {
        constexpr std::int64_t GRACE_MICROSECONDS = 2'000'000;
        const int signal = heardSignal;
        if (signal == 0 && g_get_monotonic_time() < deadline) {
            return;
        }
        heardSignal = 0;
        const bool isFirst = ending.outcome.empty();
        kill(-service, signal != 0 ? signal : isFirst ? SIGTERM : SIGKILL);
        if (isFirst) {
            ending = signal != 0 ? Ending{"interrupted", "", signal}
                                 : Ending{"timed out", "no end after " + Cli::DurationText(timeoutSeconds)};
            deadline = g_get_monotonic_time() + GRACE_MICROSECONDS;
        }
    }

    pid_t service;
    double timeoutSeconds;
    std::int64_t deadline =
        g_get_monotonic_time() + static_cast<std::int64_t>(timeoutSeconds * G_USEC_PER_SEC);
    /** Why the service was asked to end first; empty while it was not. */
    Ending ending = {};
};

/** Takes a piece of what has come. @return whether there was one */
bool TakePiece(int source, Log::LineReader& log) {
    std::array<char, 65536> buffer = {};
    const ssize_t count = read(source, buffer.data(), buffer.size());
    if (count > 0) {
        log.Feed({buffer.data(), static_cast<std::size_t>(count)});
    }
    return count > 0;
}

Ending EndingOf(int status) {
    if (WIFSIGNALED(status)) {
        return {"crashed", std::string("ended by the signal ") + strsignal(WTERMSIG(status))};
    }
    const int exitStatus = WEXITSTATUS(status);
    return exitStatus == 0 ? Ending() : Ending{"crashed", "exit status " + std::to_string(exitStatus)};
}

}  // namespace

Ending RunService(const RunOptions& options, const std::function<void()>& onStart,
                  const std::function<void(const Log::Line&)>& onLine, const std::function<void()>& onPause) {
    HearSignals();
    // Made as the service makes it, so that none of its lines is missed.
    const int logFile =
        open(options.logFile.c_str(), O_RDONLY | O_CREAT | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0600);
    lseek(logFile, 0, SEEK_END);
    int output = -1;
    Watchdog watchdog{Start(options, output), options.timeoutSeconds};
    onStart();
    Log::LineReader log(onLine);
    int status = 0;
    bool hasEnded = false;
    bool isMore = false;
    while (!hasEnded || isMore) {
        pollfd source = {output, POLLIN, 0};
        // Who closed the output is about to end.
        poll(&source, 1, isMore ? 0 : output < 0 ? 5 : 200);
        watchdog.Look();
        hasEnded = hasEnded || waitpid(watchdog.service, &status, WNOHANG) == watchdog.service;
        if (source.revents == POLLHUP) {
            close(std::exchange(output, -1));
        }
        isMore = TakePiece(output, log);
        isMore = TakePiece(logFile, log) || isMore;
        // An entry comes in one piece: where nothing more has come, and no line is begun, none goes on.
        if (!isMore && !log.IsWithin()) {
            onPause();
        }
    }
    close(output);
    close(logFile);
    log.Finish();
    onPause();
    return watchdog.ending.outcome.empty() ? EndingOf(status) : watchdog.ending;
}

}  // namespace Television
