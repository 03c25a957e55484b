#include <dlog.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <system_error>

#include "LogText.h"
#include "TvFolder.h"
#include "TvIni.h"

namespace {

constexpr std::string_view LETTERS = "VDIWEF";

/** A reader of our log that has gone away must not end the process. */
class BrokenPipeGuard {
public:
    BrokenPipeGuard() {
        sigemptyset(&m_brokenPipe);
        sigaddset(&m_brokenPipe, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &m_brokenPipe, &m_before);
    }
    ~BrokenPipeGuard() {
        if (m_raised) {
            const timespec now = {};
            sigtimedwait(&m_brokenPipe, nullptr, &now);
        }
        pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
    }
    BrokenPipeGuard(const BrokenPipeGuard&) = delete;
    BrokenPipeGuard& operator=(const BrokenPipeGuard&) = delete;

    void Raised() {
        m_raised = true;
    }

private:
    sigset_t m_brokenPipe = {};
    sigset_t m_before = {};
    bool m_raised = false;
};

/** @return the number of bytes written, or a negative error number */
int WriteAll(int descriptor, std::string_view text) {
    const auto whole = static_cast<int>(text.size());
    while (!text.empty()) {
        const ssize_t written = write(descriptor, text.data(), text.size());
        if (written >= 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno != EINTR) {
            return -errno;
        }
    }
    return whole;
}

/** The same to what may be a pipe. */
int WriteAllGuarded(int descriptor, std::string_view text) {
    BrokenPipeGuard guard;
    const int result = WriteAll(descriptor, text);
    if (result == -EPIPE) {
        guard.Raised();
    }
    return result;
}

/** The log's file, kept open while its path names it: opening it for each entry costs more than the entry. */
class LogFile {
public:
    LogFile() = default;
    ~LogFile() {
        Close();
    }
    LogFile(const LogFile&) = delete;
    LogFile& operator=(const LogFile&) = delete;

    /** @return 0, or the error number of the opening */
    int Open(const std::string& path) {
        struct stat named = {};
        if (m_descriptor >= 0 && stat(path.c_str(), &named) == 0 && named.st_dev == m_status.st_dev &&
            named.st_ino == m_status.st_ino) {
            return 0;
        }
        Close();
        // A named pipe never blocks us.
        m_descriptor =
            open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, 0600);
        return m_descriptor >= 0 && fstat(m_descriptor, &m_status) == 0 ? 0 : errno;
    }

    int Write(const std::string& lines) const {
        return S_ISREG(m_status.st_mode) ? WriteAll(m_descriptor, lines)
                                         : WriteAllGuarded(m_descriptor, lines);
    }

private:
    void Close() {
        if (m_descriptor >= 0) {
            close(m_descriptor);
        }
        m_descriptor = -1;
    }

    int m_descriptor = -1;
    struct stat m_status = {};
};

/** The log viewer's brief form: tag and process id stand in columns where they are short. */
std::string Head(int priority, const char* tag) {
    static const std::string pid = std::to_string(getpid());
    std::string head = {LETTERS[static_cast<std::size_t>(priority - DLOG_VERBOSE)], '/'};
    head += tag;
    head.resize(std::max(head.size(), std::size_t{10}), ' ');
    head += '(';
    head.append(5 - std::min(pid.size(), std::size_t{5}), ' ');
    return head + pid + "): ";
}

/** The least priority that is written. A single run may have one of its own, with the television as it is. */
int LevelOf(const TvIni& ini) {
    const char* chosen = std::getenv("INFOSYNC_TV_LOG_LEVEL");
    std::size_t position = chosen == nullptr ? std::string_view::npos : LETTERS.find(chosen);
    if (position == std::string_view::npos || std::string_view(chosen).size() != 1) {
        position = LETTERS.find(ini.Text(TvKeys::LOG_LEVEL).value_or("I"));
    }
    return DLOG_VERBOSE + static_cast<int>(position);
}

/** Where entries go, as tv.ini has it. */
class Log {
public:
    Log() {
        // A file of the service's that got the number of a closed standard error must not get our lines.
        while (fcntl(STDERR_FILENO, F_GETFD) < 0 && open("/dev/null", O_WRONLY) >= 0) {
        }
    }

    /** Next to free for an entry below the level: tv.ini is looked at once in a clock tick. */
    bool IsWanted(int priority) {
        const std::int64_t tick = TvFolder::Tick();
        if (tick != m_tick.load()) {
            Refresh();
            m_tick.store(tick);
        }
        return priority >= m_level.load();
    }

    /** @return the number of bytes written, or a negative error number */
    int Write(const std::string& lines) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return WriteLocked(lines);
    }

private:
    void Refresh() {
        const std::shared_ptr<const TvIni> ini = TvFolder::ReadIni();
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_fileIsCurrent = false;
        if (ini == m_ini) {
            return;
        }
        m_ini = ini;
        m_level.store(LevelOf(*ini));
        const auto file = ini->Text(TvKeys::LOG_FILE);
        m_path = file ? TvFolder::Resolve(*file) : std::string();
        const std::string warning = Warning(ini->Problem(), m_iniProblem);
        if (!warning.empty()) {
            WriteLocked(warning);
        }
    }

    int WriteLocked(const std::string& lines) {
        if (m_path.empty()) {
            return WriteAllGuarded(STDERR_FILENO, lines);
        }
        if (!m_fileIsCurrent) {
            const int error = m_file.Open(m_path);
            if (error != 0) {
                const std::string problem = m_path + ": " + std::generic_category().message(error) +
                                            "; the log goes to standard error instead";
                return WriteAllGuarded(STDERR_FILENO, Warning(problem, m_fileProblem) + lines);
            }
            m_fileIsCurrent = true;
        }
        return m_file.Write(lines);
    }

    /** What is wrong as log lines; empty while that has been told already, or where the level hides it. */
    std::string Warning(const std::string& problem, std::string& told) const {
        if (problem == told) {
            return {};
        }
        told = problem;
        return problem.empty() || DLOG_WARN < m_level.load() ? std::string()
                                                             : LogText::Split(Head(DLOG_WARN, "TV"), problem);
    }

    std::atomic<int> m_level{DLOG_UNKNOWN};
    std::atomic<std::int64_t> m_tick{-1};
    std::mutex m_mutex;
    std::shared_ptr<const TvIni> m_ini;
    std::string m_path;
    LogFile m_file;
    bool m_fileIsCurrent = false;
    std::string m_iniProblem;
    std::string m_fileProblem;
};

}  // namespace

int __dlog_print(log_id_t /*log_id*/, int prio, const char* tag, const char* fmt, ...) {
    if (prio < DLOG_VERBOSE || prio > DLOG_FATAL || tag == nullptr || fmt == nullptr) {
        return -EINVAL;
    }
    try {
        static auto& log = *new Log;  // never destroyed: other objects log from their destructors
        if (!log.IsWanted(prio)) {
            return 0;
        }
        std::va_list values;
        va_start(values, fmt);
        const std::string lines = LogText::Lines(Head(prio, tag), fmt, values);
        va_end(values);
        return log.Write(lines);
    } catch (const std::exception&) {
        return -ENOMEM;
    }
}
