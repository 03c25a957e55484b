#include "LogSink.h"

#include <dlog.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <string_view>
#include <system_error>

#include "LogText.h"
#include "TvFolder.h"
#include "TvIni.h"

namespace {

constexpr std::string_view LETTERS = "VDIWEF";
/** What the journal calls the same priorities (sd-daemon(3), syslog(3)). */
constexpr std::string_view JOURNAL_LEVELS = "776432";

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

/** Whether standard error is the stream that systemd connected to its journal (systemd.exec(5)). */
bool IsJournal() {
    const char* stream = std::getenv("JOURNAL_STREAM");
    struct stat status = {};
    return stream != nullptr && fstat(STDERR_FILENO, &status) == 0 &&
           stream == std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino);
}

/** What the environment says for this process alone, with the television as it is; else what tv.ini says. */
std::string Chosen(const TvIni& ini, const TvKey& key, const char* variable) {
    const char* value = std::getenv(variable);
    return value != nullptr && key.IsChoice(value) ? value : ini.Text(key).value();
}

}  // namespace

LogSink::LogSink(const TvIni& ini)
    : m_level(DLOG_VERBOSE +
              static_cast<int>(LETTERS.find(Chosen(ini, TvKeys::LOG_LEVEL, "INFOSYNC_TV_LOG_LEVEL")))),
      m_format(Chosen(ini, TvKeys::LOG_FORMAT, "INFOSYNC_TV_LOG_FORMAT")),
      m_isJournal(IsJournal()) {
    // A file of the service's that got the number of a closed standard error must not get our lines.
    while (fcntl(STDERR_FILENO, F_GETFD) < 0 && open("/dev/null", O_WRONLY) >= 0) {
    }
    const auto file = ini.Text(TvKeys::LOG_FILE);
    if (file) {
        Open(TvFolder::Resolve(*file));
    }
    Warn(ini.Problem());
}

LogSink::~LogSink() {
    if (m_descriptor != STDERR_FILENO) {
        close(m_descriptor);
    }
}

int LogSink::Write(int priority, const char* tag, const char* format, std::va_list values) {
    return priority < m_level ? 0 : WriteLines(LogText::Lines(Head(priority, tag), format, values));
}

void LogSink::Open(const std::string& path) {
    // A named pipe never blocks us.
    const int descriptor =
        open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, 0600);
    if (descriptor < 0) {
        const std::string reason = std::generic_category().message(errno);
        Warn(path + ": " + reason + "; the log goes to standard error instead");
        return;
    }
    struct stat status = {};
    m_isFile = fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
    m_isJournal = false;
    m_descriptor = descriptor;
}

std::string LogSink::Head(int priority, const char* tag) const {
    const auto index = static_cast<std::size_t>(priority - DLOG_VERBOSE);
    const std::string head = LogText::Head(m_format, LETTERS[index], tag);
    return m_isJournal ? std::string{'<', JOURNAL_LEVELS[index], '>'} + head : head;
}

void LogSink::Warn(const std::string& problem) {
    if (!problem.empty() && m_level <= DLOG_WARN) {
        WriteLines(LogText::Split(Head(DLOG_WARN, "TV"), problem));
    }
}

int LogSink::WriteLines(const std::string& lines) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_isFile ? WriteAll(m_descriptor, lines) : WriteAllGuarded(m_descriptor, lines);
}
