/** Runs the service on the television and watches it. */
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
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
    /** Starts the service. @throws std::runtime_error when it cannot be started */
    explicit ServiceRun(const RunOptions& options);
    ~ServiceRun();
    ServiceRun(const ServiceRun&) = delete;
    ServiceRun& operator=(const ServiceRun&) = delete;

    /**
     * Returns when the service has ended.
     * @param onLine gets the lines of the log; onPause is called when there are none for now
     */
    Ending Wait(const std::function<void(const Log::Line&)>& onLine, const std::function<void()>& onPause);

private:
    /** Asks the service to end, and after a while makes it. The first reason counts. */
    void End(const Ending& ending, int signal);
    void TakeSignals();
    void CheckTime();

    RunOptions m_options;
    /** In microseconds of the clock that nobody sets. */
    std::int64_t m_deadline;
    pid_t m_pid = 0;
    // Each -1 while it is not open.
    int m_signals;
    int m_logFile;
    int m_output = -1;
    /** Why the service was asked to end; empty while it was not. */
    Ending m_ended;
};

}  // namespace Television
