/** The commands of infosync-tv, in families of which each has a file. */
#pragma once

#include <filesystem>

#include "Cli/Tool.h"

namespace Commands {

void AddChanges(Cli::Tool& tool);  // init, set, sign-in, sign-out, bond, unbond, factory-reset
void AddExplain(Cli::Tool& tool);
void AddReport(Cli::Tool& tool);
void AddRuns(Cli::Tool& tool);  // run, runs, log
void AddShow(Cli::Tool& tool);  // devices, why, status

/** For what is written where the user says: no folder is made for it. @throws std::runtime_error where there
 * is none */
void RequireFolderOf(const std::filesystem::path& file);

}  // namespace Commands
