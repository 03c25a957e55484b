/** Runs the service on the television and watches it. */
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <ios>
#include <string>

#include "Television/Log/Line.h"

namespace Television {

/** How the service's process ended. */
struct Ending {
    /** "crashed", "timed out" or "interrupted"; empty where it ended by itself with status 0. */
    std::string outcome;
    std::string reason;
    /** The one that interrupted it; 0 for none. */
    int signal = 0;
};

struct RunOptions {
    /** Path of the service's executable. */
    std::string service;
    /** The letter of the least severe priority that the service is to log. */
    char level = 'I';
    /** The file that the television logs to; empty where it logs to standard error. */
    std::string logFile;
    /** After which a run counts as one that never ends. */
    double timeoutSeconds = 0;
};

/**
 * One run of the service. From its start on SIGINT, SIGTERM and SIGHUP end the service and not this process,
 * except for those that this process was started to ignore. The service never outlives this process.
 */
class ServiceRun {
public:
    /**
     * Starts the service.
     * @param onLine gets the lines of the log; onPause is called when there are none for a while
     * @throws std::runtime_error when it cannot be started
     */
    ServiceRun(const RunOptions& options, const std::function<void(const Log::Line&)>& onLine,
               std::function<void()> onPause);
    ~ServiceRun();
    ServiceRun(const ServiceRun&) = delete;
    ServiceRun& operator=(const ServiceRun&) = delete;

    /** Returns when the service has ended. */
    Ending Wait();

private:
    using Clock = std::chrono::steady_clock;

    /** Asks the service to end, and after a while makes it. The first reason counts. */
    void End(const Ending& ending, int signal);
    void TakeSignals();
    void CheckTime();
    /** @return how many bytes came */
    std::size_t ReadOutput();
    void ReadLogFile();

    Log::LineReader m_log;
    std::function<void()> m_onPause;
    std::string m_logFile;
    std::streamoff m_logFileEnd = 0;
    double m_timeoutSeconds;
    Clock::time_point m_deadline;
    /** -1 once it is closed. */
    int m_output = -1;
    int m_signals = -1;
    pid_t m_pid = 0;
    /** Why the service was asked to end; empty while it was not. */
    Ending m_ended;
};

}  // namespace Television
