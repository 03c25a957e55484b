/** Runs the service on the television and watches it. */
#pragma once

#include <string>

#include "Television/LastRun.h"
#include "Television/LogReader.h"

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
 * Waits until the run has ended, however it does; the service is gone afterwards. An interrupt or a
 * termination signal that comes meanwhile is passed on to the service.
 * @param onLine gets the lines of the log
 * @throws std::runtime_error when the service cannot be started
 */
RunOutcome RunService(const RunOptions& options, const LogReader::LineHandler& onLine);

}  // namespace Television
