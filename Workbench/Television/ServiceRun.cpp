#include "Television/ServiceRun.h"

#include <glib-unix.h>
#include <glib.h>
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

#include "Cli/Text.h"

namespace Television {

namespace {

constexpr unsigned GRACE_SECONDS = 2;
constexpr unsigned MILLISECONDS = 1000;

/** One service process, from its start to its end. */
class Process {
public:
    Process(const RunOptions& options, const LogReader::LineHandler& onLine)
        : m_log(onLine),
          m_logFile(options.logFile),
          m_timeoutSeconds(options.timeoutSeconds),
          m_loop(g_main_loop_new(nullptr, FALSE)) {
        std::error_code none;
        const auto size = std::filesystem::file_size(m_logFile, none);
        m_logFileEnd = none ? 0 : static_cast<std::streamoff>(size);
        Start(options);
    }
    ~Process() {
        g_main_loop_unref(m_loop);
        g_spawn_close_pid(m_pid);
        close(m_output);
    }
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    RunOutcome Wait() {
        const auto onSignal = [](gpointer self) -> gboolean {
            static_cast<Process*>(self)->End(RunOutcome::Kind::INTERRUPTED, SIGINT);
            return G_SOURCE_CONTINUE;
        };
        const guint sources[] = {
            g_unix_signal_add(SIGINT, onSignal, this), g_unix_signal_add(SIGTERM, onSignal, this),
            g_timeout_add(m_timeoutSeconds * MILLISECONDS, &OnTimeout, this),
            g_unix_fd_add(m_output, static_cast<GIOCondition>(G_IO_IN | G_IO_HUP), &OnOutput, this)};
        g_child_watch_add(m_pid, &OnEnd, this);
        g_main_loop_run(m_loop);
        for (const guint source : sources) {
            if (g_main_context_find_source_by_id(nullptr, source) != nullptr) {
                g_source_remove(source);
            }
        }
        if (m_graceSource != 0) {
            g_source_remove(m_graceSource);
        }
        // What was written between the last look and the end.
        while (ReadOutput() > 0) {
        }
        ReadLogFile();
        m_log.Finish();
        return Outcome();
    }

private:
    void Start(const RunOptions& options) {
        std::string program = options.service;
        char* words[] = {program.data(), nullptr};
        char** environment = g_environ_setenv(g_get_environ(), "INFOSYNC_TV_LOG_LEVEL",
                                              std::string(1, options.level).c_str(), TRUE);
        GError* error = nullptr;
        const bool started =
            g_spawn_async_with_pipes(nullptr, words, environment, G_SPAWN_DO_NOT_REAP_CHILD, nullptr, nullptr,
                                     &m_pid, nullptr, nullptr, &m_output, &error) != FALSE;
        g_strfreev(environment);
        if (!started) {
            const std::string reason = error->message;
            g_error_free(error);
            g_main_loop_unref(m_loop);
            throw std::runtime_error(Cli::Escape(reason) +
                                     "\nName the service with --service FILE or INFOSYNC_SERVICE");
        }
        g_unix_set_fd_nonblocking(m_output, TRUE, nullptr);
    }

    static gboolean OnTimeout(gpointer self) {
        static_cast<Process*>(self)->End(RunOutcome::Kind::TIMED_OUT, SIGTERM);
        return G_SOURCE_REMOVE;
    }

    static gboolean OnOutput(int /*descriptor*/, GIOCondition /*condition*/, gpointer self) {
        const ssize_t count = static_cast<Process*>(self)->ReadOutput();
        const bool open = count > 0 || (count < 0 && (errno == EAGAIN || errno == EINTR));
        return open ? G_SOURCE_CONTINUE : G_SOURCE_REMOVE;
    }

    static void OnEnd(GPid /*pid*/, int status, gpointer self) {
        static_cast<Process*>(self)->m_status = status;
        g_main_loop_quit(static_cast<Process*>(self)->m_loop);
    }

    /** Asks the service to end, and after a while makes it. The first reason counts. */
    void End(RunOutcome::Kind kind, int signal) {
        if (m_ended == RunOutcome::Kind::SUCCESS) {
            m_ended = kind;
        }
        kill(m_pid, signal);
        if (m_graceSource == 0) {
            const GSourceFunc onGraceOver = [](gpointer self) -> gboolean {
                kill(static_cast<Process*>(self)->m_pid, SIGKILL);
                static_cast<Process*>(self)->m_graceSource = 0;
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
        return count;
    }

    /** Takes what the run added to the file, where the television logs to one. */
    void ReadLogFile() {
        std::ifstream file(m_logFile, std::ios::binary);
        file.seekg(m_logFileEnd);
        std::array<char, 65536> buffer = {};
        while (file.read(buffer.data(), buffer.size()) || file.gcount() > 0) {
            m_log.Feed({buffer.data(), static_cast<std::size_t>(file.gcount())});
        }
    }

    RunOutcome Outcome() const {
        if (m_ended == RunOutcome::Kind::TIMED_OUT) {
            const std::string lastError = m_log.LastError();
            return {m_ended, "no end after " + Cli::Count(m_timeoutSeconds, "second") +
                                 (lastError.empty() ? "" : "; the last error was: " + lastError)};
        }
        if (m_ended != RunOutcome::Kind::SUCCESS) {
            return {m_ended, ""};
        }
        if (WIFSIGNALED(m_status)) {
            return {RunOutcome::Kind::CRASHED,
                    std::string("ended by the signal ") + strsignal(WTERMSIG(m_status))};
        }
        if (WEXITSTATUS(m_status) != 0) {
            return {RunOutcome::Kind::CRASHED, "exit status " + std::to_string(WEXITSTATUS(m_status))};
        }
        return m_log.Outcome();
    }

    LogReader m_log;
    std::string m_logFile;
    std::streamoff m_logFileEnd = 0;
    unsigned m_timeoutSeconds;
    GMainLoop* m_loop;
    GPid m_pid = 0;
    int m_output = -1;
    int m_status = 0;
    guint m_graceSource = 0;
    RunOutcome::Kind m_ended = RunOutcome::Kind::SUCCESS;
};

}  // namespace

RunOutcome RunService(const RunOptions& options, const LogReader::LineHandler& onLine) {
    Process process(options, onLine);
    return process.Wait();
}

}  // namespace Television
