/** The last runs of a television, kept in its folder: runs/N.json tells the run with the number N and what
 * its log cannot tell, and runs/N.log is that log. */
#pragma once

#include <json/json.h>

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "Cli/Display.h"
#include "Cli/StateFolder.h"
#include "Television/Log/Line.h"
#include "Television/Stored.h"

namespace Television {

inline constexpr std::size_t MOST_KEPT_RUNS = 20;

/** The outcome of a run that has not ended yet, nor been killed. */
inline constexpr char UNDER_WAY[] = "under way";

/** A run as --json shows it; the members are in docs/formats.md. */
using KeptRun = Json::Value;

/** Keeps a run, beginning with how the device list was before it. */
class RunKeeper {
public:
    /** Begins the run's log, now that the service has started. */
    void Begin();

    /** Adds a line, with the time, as the log viewer's form "time" has it. */
    void Take(const Log::Line& line);

    /**
     * Adds to the story of the run what a log cannot tell, keeps it and forgets all but the last runs.
     * @return what could not be kept, and why; empty for nothing
     */
    std::string Keep(KeptRun& run);

private:
    DeviceList m_before = ReadDeviceList();
    std::int64_t m_begun = 0;
    std::int64_t m_number = 1;
    std::ofstream m_log;
    std::optional<Cli::FileLock> m_lock;
};

/** Of the runs that a log is kept of, ascending. @throws std::exception when the folder cannot be read */
std::vector<std::int64_t> KeptRunNumbers();

/** Where the run's file with that suffix is, ".log" or ".json". */
std::string RunFile(std::int64_t number, const char* suffix);

/** Never throws for what is kept, or cannot be read. */
KeptRun ReadKeptRun(std::int64_t number);

/** The newest; "unreadable" and without a number where the folder is that; null when there is none. */
KeptRun ReadNewestRun();

/** "success, 5m ago" */
std::string KeptRunWords(const KeptRun& run, std::int64_t now, const Cli::Style& style);

/** For people, right after the run: the device list, what changed in it, what to do, and how the run ended.
 */
std::string KeptRunText(const KeptRun& run, const Cli::Style& style);

}  // namespace Television
