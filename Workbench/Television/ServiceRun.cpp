#include "Television/ServiceRun.h"

#include <fcntl.h>
#include <glib-unix.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
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

constexpr std::int64_t GRACE_MICROSECONDS = 2'000'000;
constexpr int LOOK_MILLISECONDS = 200;

/** Between fork and exec: the service ends with this process, and hears of the terminal's signals through it.
 */
void PrepareService(gpointer parent) {
    setpgid(0, 0);
    sigset_t none = {};
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != *static_cast<pid_t*>(parent)) {
        _exit(1);  // it was gone before the line above
    }
}

/** Those that the process would hear of, and that a child has ended. */
sigset_t Heard() {
    sigset_t signals = {};
    sigemptyset(&signals);
    sigaddset(&signals, SIGCHLD);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction action = {};
        sigaction(signal, nullptr, &action);
        if (action.sa_handler != SIG_IGN) {
            sigaddset(&signals, signal);
        }
    }
    return signals;
}

int OpenLogFile(const RunOptions& options) {
    return open(options.logFile.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
}

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
    if (WEXITSTATUS(status) != 0) {
        return {"crashed", "exit status " + std::to_string(WEXITSTATUS(status))};
    }
    return {};
}

}  // namespace

ServiceRun::ServiceRun(const RunOptions& options)
    : m_options(options),
      m_deadline(g_get_monotonic_time() + static_cast<std::int64_t>(options.timeoutSeconds * G_USEC_PER_SEC)),
      m_logFile(OpenLogFile(options)) {
    lseek(m_logFile, 0, SEEK_END);
    const sigset_t heard = Heard();
    sigprocmask(SIG_BLOCK, &heard, nullptr);
    m_signals = signalfd(-1, &heard, SFD_NONBLOCK | SFD_CLOEXEC);
    g_setenv("INFOSYNC_TV_LOG_LEVEL", std::string(1, options.level).c_str(), TRUE);
    pid_t parent = getpid();
    char* words[] = {m_options.service.data(), nullptr};
    GError* error = nullptr;
    g_spawn_async_with_pipes(nullptr, words, nullptr, G_SPAWN_DO_NOT_REAP_CHILD, &PrepareService, &parent,
                             &m_pid, nullptr, nullptr, &m_output, &error);
    if (error != nullptr) {
        const std::string reason = error->message;
        g_error_free(error);
        throw std::runtime_error(reason + "\nName the service with --service FILE or INFOSYNC_SERVICE");
    }
    g_unix_set_fd_nonblocking(m_output, TRUE, nullptr);
}

ServiceRun::~ServiceRun() {
    for (const int file : {m_signals, m_logFile, m_output}) {
        close(file);
    }
}

Ending ServiceRun::Wait(const std::function<void(const Log::Line&)>& onLine,
                        const std::function<void()>& onPause) {
    Log::LineReader log(onLine);
    int status = 0;
    bool hasEnded = false;
    bool isMore = false;
    while (!hasEnded || isMore) {
        pollfd sources[] = {{m_signals, POLLIN, 0}, {m_output, POLLIN, 0}};
        poll(sources, std::size(sources), isMore ? 0 : LOOK_MILLISECONDS);
        TakeSignals();
        CheckTime();
        hasEnded = hasEnded || waitpid(m_pid, &status, WNOHANG) == m_pid;
        if (sources[1].revents == POLLHUP) {
            close(std::exchange(m_output, -1));
        }
        m_logFile = m_logFile < 0 ? OpenLogFile(m_options) : m_logFile;
        isMore = TakePiece(m_output, log);
        isMore = TakePiece(m_logFile, log) || isMore;
        // An entry comes in one piece: where nothing more has come, and no line is begun, none goes on.
        if (!isMore && !log.IsWithin()) {
            onPause();
        }
    }
    log.Finish();
    return m_ended.outcome.empty() ? EndingOf(status) : m_ended;
}

void ServiceRun::End(const Ending& ending, int signal) {
    if (m_ended.outcome.empty()) {
        m_ended = ending;
        m_deadline = g_get_monotonic_time() + GRACE_MICROSECONDS;
    }
    kill(-m_pid, signal);
}

void ServiceRun::TakeSignals() {
    signalfd_siginfo info = {};
    while (read(m_signals, &info, sizeof(info)) == sizeof(info)) {
        const auto signal = static_cast<int>(info.ssi_signo);
        if (signal != SIGCHLD) {
            End({"interrupted", "", signal}, signal);
        }
    }
}

void ServiceRun::CheckTime() {
    if (g_get_monotonic_time() >= m_deadline) {
        End({"timed out", "no end after " + Cli::DurationText(m_options.timeoutSeconds)},
            m_ended.outcome.empty() ? SIGTERM : SIGKILL);
    }
}

}  // namespace Television
