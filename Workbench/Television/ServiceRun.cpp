#include "Television/ServiceRun.h"

#include <glib-unix.h>
#include <glib.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <vector>

#include "Cli/Text.h"
#include "Cli/Time.h"

namespace Television {

namespace {

constexpr unsigned GRACE_SECONDS = 2;
constexpr double MILLISECONDS = 1000;
constexpr unsigned LOG_FILE_LOOK_MILLISECONDS = 200;

/** Between fork and exec: the service ends with this process, and hears of the terminal's signals through it.
 */
void PrepareService(gpointer parent) {
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != *static_cast<pid_t*>(parent)) {
        _exit(1);  // the parent was gone before the line above
    }
}

bool IsIgnored(int signal) {
    struct sigaction action = {};
    return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

}  // namespace

/** One service process, from its start to its end. */
class ServiceRun::Process {
public:
    Process(const RunOptions& options, const std::function<void(const Log::Line&)>& onLine,
            const std::function<void()>& onPause)
        : m_log(onLine),
          m_onPause(onPause),
          m_logFile(options.logFile),
          m_timeoutSeconds(options.timeoutSeconds),
          m_loop(g_main_loop_new(nullptr, FALSE), &g_main_loop_unref) {
        std::error_code none;
        const auto size = std::filesystem::file_size(m_logFile, none);
        m_logFileEnd = none ? 0 : static_cast<std::streamoff>(size);
        AddSignal(SIGINT, [](gpointer self) { return Interrupt(self, SIGINT); });
        AddSignal(SIGTERM, [](gpointer self) { return Interrupt(self, SIGTERM); });
        AddSignal(SIGHUP, [](gpointer self) { return Interrupt(self, SIGHUP); });
        Start(options);
    }
    ~Process() {
        for (const guint source : m_sources) {
            g_source_remove(source);
        }
        close(m_output);
    }
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    Ending Wait() {
        const guint timeout =
            g_timeout_add(static_cast<guint>(m_timeoutSeconds * MILLISECONDS), &OnTimeout, this);
        const guint look = g_timeout_add(LOG_FILE_LOOK_MILLISECONDS, &OnLook, this);
        const guint output =
            g_unix_fd_add(m_output, static_cast<GIOCondition>(G_IO_IN | G_IO_HUP), &OnOutput, this);
        g_child_watch_add(m_pid, &OnEnd, this);
        g_main_loop_run(m_loop.get());
        for (const guint source : {timeout, look, output, m_graceSource}) {
            if (source != 0 && g_main_context_find_source_by_id(nullptr, source) != nullptr) {
                g_source_remove(source);
            }
        }
        // What was written between the last look and the end.
        while (ReadOutput() > 0) {
        }
        ReadLogFile();
        m_log.Finish();
        return HowItEnded();
    }

private:
    void AddSignal(int signal, GSourceFunc onSignal) {
        if (!IsIgnored(signal)) {
            m_sources.push_back(g_unix_signal_add(signal, onSignal, this));
        }
    }

    void Start(const RunOptions& options) {
        if (access(options.service.c_str(), X_OK) != 0) {
            throw std::runtime_error("cannot start " + Cli::Escape(options.service) + ": " +
                                     g_strerror(errno) +
                                     "\nName the service with --service FILE or INFOSYNC_SERVICE");
        }
        std::string program = options.service;
        char* words[] = {program.data(), nullptr};
        const std::unique_ptr<char*, decltype(&g_strfreev)> environment(
            g_environ_setenv(g_get_environ(), "INFOSYNC_TV_LOG_LEVEL", std::string(1, options.level).c_str(),
                             TRUE),
            &g_strfreev);
        pid_t self = getpid();
        GError* error = nullptr;
        if (g_spawn_async_with_pipes(nullptr, words, environment.get(), G_SPAWN_DO_NOT_REAP_CHILD,
                                     &PrepareService, &self, &m_pid, nullptr, nullptr, &m_output,
                                     &error) == FALSE) {
            const std::string reason = error->message;
            g_error_free(error);
            throw std::runtime_error(Cli::Escape(reason));
        }
        g_unix_set_fd_nonblocking(m_output, TRUE, nullptr);
    }

    static gboolean Interrupt(gpointer self, int signal) {
        static_cast<Process*>(self)->End({"interrupted", "", signal}, signal);
        return G_SOURCE_CONTINUE;
    }

    static gboolean OnTimeout(gpointer self) {
        auto* const process = static_cast<Process*>(self);
        const std::string reason = "no end after " + Cli::DurationText(process->m_timeoutSeconds);
        process->End({"timed out", reason}, SIGTERM);
        return G_SOURCE_REMOVE;
    }

    static gboolean OnLook(gpointer self) {
        static_cast<Process*>(self)->ReadLogFile();
        return G_SOURCE_CONTINUE;
    }

    static gboolean OnOutput(int /*descriptor*/, GIOCondition /*condition*/, gpointer self) {
        const ssize_t count = static_cast<Process*>(self)->ReadOutput();
        const bool open = count > 0 || (count < 0 && (errno == EAGAIN || errno == EINTR));
        return open ? G_SOURCE_CONTINUE : G_SOURCE_REMOVE;
    }

    static void OnEnd(GPid /*pid*/, int status, gpointer self) {
        static_cast<Process*>(self)->m_status = status;
        g_main_loop_quit(static_cast<Process*>(self)->m_loop.get());
    }

    /** Asks the service to end, and after a while makes it. The first reason counts. */
    void End(const Ending& ending, int signal) {
        if (m_ended.outcome.empty()) {
            m_ended = ending;
        }
        kill(-m_pid, signal);
        if (m_graceSource == 0) {
            const GSourceFunc onGraceOver = [](gpointer self) -> gboolean {
                kill(-static_cast<Process*>(self)->m_pid, SIGKILL);
                return G_SOURCE_REMOVE;
            };
            m_graceSource = g_timeout_add_seconds(GRACE_SECONDS, onGraceOver, this);
        }
    }

    ssize_t ReadOutput() {
        std::array<char, 65536> buffer = {};
        const ssize_t count = read(m_output, buffer.data(), buffer.size());
        if (count > 0) {
            m_log.Feed({buffer.data(), static_cast<std::size_t>(count)});
        }
        Pause(static_cast<std::size_t>(std::max<ssize_t>(count, 0)) < buffer.size());
        return count;
    }

    /** An entry comes in one piece: where nothing more has come, and no line is begun, none goes on. */
    void Pause(bool isDrained) {
        if (isDrained && !m_log.IsWithin()) {
            m_onPause();
        }
    }

    /** Takes what the run has added to the file since the last look, where the television logs to one. */
    void ReadLogFile() {
        std::ifstream file(m_logFile, std::ios::binary);
        file.seekg(m_logFileEnd);
        std::array<char, 65536> buffer = {};
        while (file.read(buffer.data(), buffer.size()) || file.gcount() > 0) {
            m_logFileEnd += file.gcount();
            m_log.Feed({buffer.data(), static_cast<std::size_t>(file.gcount())});
        }
        Pause(true);
    }

    Ending HowItEnded() const {
        if (!m_ended.outcome.empty()) {
            return m_ended;
        }
        if (WIFSIGNALED(m_status)) {
            return {"crashed", std::string("ended by the signal ") + strsignal(WTERMSIG(m_status))};
        }
        if (WEXITSTATUS(m_status) != 0) {
            return {"crashed", "exit status " + std::to_string(WEXITSTATUS(m_status))};
        }
        return {};
    }

    Log::LineReader m_log;
    std::function<void()> m_onPause;
    std::string m_logFile;
    std::streamoff m_logFileEnd = 0;
    double m_timeoutSeconds;
    std::unique_ptr<GMainLoop, decltype(&g_main_loop_unref)> m_loop;
    std::vector<guint> m_sources;
    GPid m_pid = 0;
    int m_output = -1;
    int m_status = 0;
    guint m_graceSource = 0;
    /** Why the service was asked to end; empty while it was not. */
    Ending m_ended;
};

ServiceRun::ServiceRun(const RunOptions& options, const std::function<void(const Log::Line&)>& onLine,
                       const std::function<void()>& onPause)
    : m_process(std::make_unique<Process>(options, onLine, onPause)) {}

ServiceRun::~ServiceRun() = default;

Ending ServiceRun::Wait() {
    return m_process->Wait();
}

}  // namespace Television
