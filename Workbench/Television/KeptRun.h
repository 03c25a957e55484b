/** The last runs of a television, kept in its folder: runs/N.json says how the run with the number N went,
 * and runs/N.log is its log. */
#pragma once

#include <json/json.h>

#include <cstdint>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "Cli/FileLock.h"
#include "Cli/Style.h"
#include "Television/Explain/LogForms.h"
#include "Television/RunOutcome.h"
#include "Television/Stored.h"

namespace Television {

inline constexpr char RUNS_FOLDER[] = "runs";

/** Keeps the run that is under way. */
class RunKeeper {
public:
    /** Begins the run's log. @param level the least severe priority that the service logs */
    explicit RunKeeper(char level);

    /** Adds a line, with the time, as the log viewer's form "time" has it. */
    void Take(const Explain::LogLine& line);

    /** How the run went, to be kept and shown. */
    Json::Value Summary(const RunOutcome& outcome, const Json::Value& requests, double seconds,
                        const std::vector<DeviceChange>& changes) const;

    /**
     * Keeps it and forgets all but the last 20.
     * @throws std::runtime_error when that, or a part of the log, could not be kept
     */
    void Keep(const Json::Value& summary);

private:
    std::int64_t m_number = 1;
    char m_level;
    std::ofstream m_log;
    std::unique_ptr<Cli::FileLock> m_lock;
};

/**
 * The runs that are kept, oldest first, each as RunKeeper::Summary has it; "outcome" is "under way", or
 * "unfinished" where the tool was killed before it could say more, or "unreadable".
 * @throws std::exception when the folder cannot be read
 */
std::vector<Json::Value> ReadKeptRuns();

/** The newest, "unreadable" where the folder is that; null when there is none. */
Json::Value ReadNewestRun();

/** Whether the run has not ended yet, nor been killed. */
bool IsUnderWay(std::int64_t number);

/** Where its log is. */
std::string KeptLogPath(std::int64_t number);

/** Whether a file of the runs' folder is one of a kept run. */
bool IsKeptRunFile(const std::string& name);

/** "success, 5 minutes ago"; "none yet" for null. */
std::string KeptRunWords(const Json::Value& run, std::int64_t now, const Cli::Style& style);

/** "token, activation 200, download from mark 1795 200" */
std::string RequestsWords(const Json::Value& requests);

}  // namespace Television
