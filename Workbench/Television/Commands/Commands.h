/** The commands of infosync-tv, in families of which each has a file. */
#pragma once

#include "Cli/Tool.h"

namespace Commands {

/** init, set, sign-in, sign-out, bond, unbond, factory-reset */
void AddChanges(Cli::Tool& tool);

void AddRun(Cli::Tool& tool);

/** runs, log */
void AddRunLog(Cli::Tool& tool);

/** devices, why, status */
void AddShow(Cli::Tool& tool);

void AddExplain(Cli::Tool& tool);

void AddReport(Cli::Tool& tool);

}  // namespace Commands
