/** Runs the service on the television and watches it. */
#pragma once

#include <functional>
#include <string>

#include "Television/Log/Line.h"

namespace Television {

struct RunOptions {
    /** The service's executable. */
    std::string service;
    /** The letter of the least severe priority that the service is to log. */
    char level;
    /** The file that the television logs to; empty where it logs to standard error. */
    std::string logFile;
    /** After which a run counts as one that never ends. */
    double timeoutSeconds;
};

/** How the service's process ended. */
struct Ending {
    /** "crashed", "timed out" or "interrupted"; empty where it ended by itself with status 0. */
    std::string outcome;
    std::string reason;
    /** The one that interrupted it; 0 for none. */
    int signal = 0;
};

/**
 * Runs the service, which never outlives this process. From its start on SIGINT, SIGTERM and SIGHUP end the
 * service and not this process, except for those that this process was started to ignore.
 * @param onStart is called once it has started, onLine with each line of its log, and onPause when there are
 * none for now, or no more
 * @throws std::runtime_error when it cannot be started
 */
Ending RunService(const RunOptions& options, const std::function<void()>& onStart,
                  const std::function<void(const Log::Line&)>& onLine, const std::function<void()>& onPause);

}  // namespace Television
