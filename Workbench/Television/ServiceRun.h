/** Runs the service on the television and watches it. */
#pragma once

#include <functional>
#include <memory>
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
 * One run of the service. While this lives, SIGINT, SIGTERM and SIGHUP end the service and not this process,
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
               const std::function<void()>& onPause);
    ~ServiceRun();
    ServiceRun(const ServiceRun&) = delete;
    ServiceRun& operator=(const ServiceRun&) = delete;

    /** Returns when the service has ended. */
    Ending Wait();

private:
    class Process;
    std::unique_ptr<Process> m_process;
};

}  // namespace Television
