/** Runs the service on the television and watches it. */
#pragma once

#include <memory>
#include <string>

#include "Television/Explain/LogForms.h"
#include "Television/RunOutcome.h"

namespace Television {

struct RunOptions {
    /** Path of the service's executable. */
    std::string service;
    /** The letter of the least severe priority that the service is to log. */
    char level = 'I';
    /** The file that the television logs to; empty where it logs to standard error. */
    std::string logFile;
    /** Seconds after which a run counts as one that never ends. */
    unsigned timeoutSeconds = 0;
};

/**
 * One run of the service. While this lives, SIGINT, SIGTERM and SIGHUP end the service and not this process,
 * except for those that this process was started to ignore. The service never outlives this process.
 */
class ServiceRun {
public:
    /**
     * Starts the service.
     * @param onLine gets the lines of the log
     * @throws std::runtime_error when it cannot be started
     */
    ServiceRun(const RunOptions& options, const Explain::LogForms::Handler& onLine);
    ~ServiceRun();
    ServiceRun(const ServiceRun&) = delete;
    ServiceRun& operator=(const ServiceRun&) = delete;

    /** Returns when the service has ended; a success is one that ended by itself with status 0. */
    RunOutcome Wait();

private:
    class Process;
    std::unique_ptr<Process> m_process;
};

}  // namespace Television
