/** The commands of infosync-tv. */
#pragma once

#include "Cli/Tool.h"

namespace Commands {

/** init, connect, set */
void AddSetUp(Cli::Tool& tool);

/** sign-in, sign-out, bond, unbond, factory-reset */
void AddState(Cli::Tool& tool);

void AddRun(Cli::Tool& tool);

/** runs, log */
void AddRunLog(Cli::Tool& tool);

void AddCheck(Cli::Tool& tool);

/** devices, records, status */
void AddShow(Cli::Tool& tool);

/** why, bonds */
void AddWhyCommands(Cli::Tool& tool);

/** export, import */
void AddBundle(Cli::Tool& tool);

void AddExplain(Cli::Tool& tool);

}  // namespace Commands
