/** The last runs of a television, kept in its folder: runs/N.json tells the run with the number N and what
 * its log cannot tell, and runs/N.log is that log. */
#pragma once

#include <json/json.h>

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "Cli/Display.h"
#include "Cli/StateFolder.h"
#include "Television/Log/Line.h"
#include "Television/Log/Story.h"

namespace Television {

inline constexpr char RUNS_FOLDER[] = "runs";
inline constexpr std::size_t MOST_KEPT_RUNS = 20;
/** The name of a file in the television's folder, held by the run that is under way. */
inline constexpr char RUN_LOCK_FILE[] = "run.lock";

/**
 * A run as it is kept, and as --json shows it: its story and "number", "finished" (in seconds since the
 * epoch), "seconds", "level" and "changes", each null where it is not known. The outcome may also be
 * "crashed", "timed out" or "interrupted", and of a run that left no note "under way", "unfinished" (the tool
 * was killed), "not kept" (no more could be written) or "unreadable".
 */
using KeptRun = Json::Value;

bool IsSuccess(const KeptRun& run);

/** Keeps the run that is under way. */
class RunKeeper {
public:
    /** Begins the run's log. */
    RunKeeper();

    /** Adds a line, with the time, as the log viewer's form "time" has it. */
    void Take(const Log::Line& line);

    /**
     * Numbers the run, keeps it and forgets all but the last MOST_KEPT_RUNS.
     * @throws std::runtime_error when that, or a part of the log, could not be kept
     */
    void Keep(KeptRun& run);

private:
    std::int64_t m_number = 1;
    std::ofstream m_log;
    std::unique_ptr<Cli::FileLock> m_lock;
};

// They throw std::exception when the folder cannot be read.
/** Of the runs that a log is kept of, ascending. */
std::vector<std::int64_t> KeptRunNumbers();
KeptRun ReadKeptRun(std::int64_t number);

/** The newest; "unreadable" and without a number where the folder is that; null when there is none. */
KeptRun ReadNewestRun();

/** Whether the run has not ended yet, nor been killed. */
bool IsUnderWay(std::int64_t number);

/** Where its log is. */
std::string KeptLogPath(std::int64_t number);

/** "success, 5m ago" */
std::string KeptRunWords(const KeptRun& run, std::int64_t now, const Cli::Style& style);

}  // namespace Television
