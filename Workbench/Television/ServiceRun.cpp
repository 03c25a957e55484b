#include "Television/ServiceRun.h"

#include <glib-unix.h>
#include <glib.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>

#include "Cli/Time.h"

namespace Television {

namespace {

constexpr std::chrono::seconds GRACE(2);
constexpr int LOOK_MILLISECONDS = 200;
constexpr std::size_t PIECE_SIZE = 65536;

struct Parent {
    pid_t pid;
    sigset_t signals;
};

/** Between fork and exec: the service ends with this process, and hears of the terminal's signals through it.
 */
void PrepareService(gpointer data) {
    const auto& parent = *static_cast<Parent*>(data);
    setpgid(0, 0);
    sigprocmask(SIG_SETMASK, &parent.signals, nullptr);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent.pid) {
        _exit(1);  // the parent was gone before the line above
    }
}

/** Those that the process would hear of, and that a child has ended. */
sigset_t Heard() {
    sigset_t signals = {};
    sigemptyset(&signals);
    sigaddset(&signals, SIGCHLD);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction action = {};
        if (sigaction(signal, nullptr, &action) != 0 || action.sa_handler != SIG_IGN) {
            sigaddset(&signals, signal);
        }
    }
    return signals;
}

/** Starts the service. @return where its output is read */
int Start(const RunOptions& options, Parent parent, pid_t& pid) {
    if (access(options.service.c_str(), X_OK) != 0) {
        throw std::runtime_error("cannot start " + options.service + ": " + std::strerror(errno) +
                                 "\nName the service with --service FILE or INFOSYNC_SERVICE");
    }
    std::string program = options.service;
    char* words[] = {program.data(), nullptr};
    const std::string level(1, options.level);
    const std::unique_ptr<char*, decltype(&g_strfreev)> environment(
        g_environ_setenv(g_get_environ(), "INFOSYNC_TV_LOG_LEVEL", level.c_str(), TRUE), &g_strfreev);
    int output = -1;
    GError* error = nullptr;
    g_spawn_async_with_pipes(nullptr, words, environment.get(), G_SPAWN_DO_NOT_REAP_CHILD, &PrepareService,
                             &parent, &pid, nullptr, nullptr, &output, &error);
    if (error != nullptr) {
        const std::string reason = error->message;
        g_error_free(error);
        throw std::runtime_error(reason);
    }
    g_unix_set_fd_nonblocking(output, TRUE, nullptr);
    return output;
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

ServiceRun::ServiceRun(const RunOptions& options, const std::function<void(const Log::Line&)>& onLine,
                       std::function<void()> onPause)
    : m_log(onLine),
      m_onPause(std::move(onPause)),
      m_logFile(options.logFile),
      m_timeoutSeconds(options.timeoutSeconds) {
    std::error_code none;
    const auto size = std::filesystem::file_size(m_logFile, none);
    m_logFileEnd = none ? 0 : static_cast<std::streamoff>(size);
    const sigset_t heard = Heard();
    Parent parent = {getpid(), {}};
    sigprocmask(SIG_BLOCK, &heard, &parent.signals);
    m_signals = signalfd(-1, &heard, SFD_NONBLOCK | SFD_CLOEXEC);
    m_output = Start(options, parent, m_pid);
    m_deadline = Clock::now() +
                 std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(m_timeoutSeconds));
}

ServiceRun::~ServiceRun() {
    close(m_output);
    close(m_signals);
}

Ending ServiceRun::Wait() {
    int status = 0;
    for (bool hasEnded = false; !hasEnded;) {
        pollfd sources[] = {{m_signals, POLLIN, 0}, {m_output, POLLIN, 0}};
        poll(sources, std::size(sources), LOOK_MILLISECONDS);
        TakeSignals();
        CheckTime();
        hasEnded = waitpid(m_pid, &status, WNOHANG) == m_pid;
        std::size_t size = ReadOutput();
        while (hasEnded && size > 0) {
            size = ReadOutput();
        }
        ReadLogFile();
        // An entry comes in one piece: where nothing more has come, and no line is begun, none goes on.
        if (size < PIECE_SIZE && !m_log.IsWithin()) {
            m_onPause();
        }
    }
    m_log.Finish();
    return m_ended.outcome.empty() ? EndingOf(status) : m_ended;
}

void ServiceRun::End(const Ending& ending, int signal) {
    if (m_ended.outcome.empty()) {
        m_ended = ending;
        m_deadline = Clock::now() + GRACE;
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
    if (Clock::now() >= m_deadline) {
        End({"timed out", "no end after " + Cli::DurationText(m_timeoutSeconds)},
            m_ended.outcome.empty() ? SIGTERM : SIGKILL);
    }
}

std::size_t ServiceRun::ReadOutput() {
    std::array<char, PIECE_SIZE> buffer = {};
    const ssize_t count = read(m_output, buffer.data(), buffer.size());
    if (count > 0) {
        m_log.Feed({buffer.data(), static_cast<std::size_t>(count)});
        return static_cast<std::size_t>(count);
    }
    if (count == 0) {
        close(m_output);
        m_output = -1;
    }
    return 0;
}

/** Takes what the run has added to the file since the last look, where the television logs to one. */
void ServiceRun::ReadLogFile() {
    std::ifstream file(m_logFile, std::ios::binary);
    file.seekg(m_logFileEnd);
    std::array<char, PIECE_SIZE> buffer = {};
    while (file.read(buffer.data(), buffer.size()) || file.gcount() > 0) {
        m_logFileEnd += file.gcount();
        m_log.Feed({buffer.data(), static_cast<std::size_t>(file.gcount())});
    }
}

}  // namespace Television
