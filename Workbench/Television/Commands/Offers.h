/** What completion offers for the values of infosync-tv's commands, from the television's folder and its
 * cloud's. */
#pragma once

#include <string>
#include <vector>

#include "Cli/Completion.h"

namespace Commands {

/** Who can sign in: the users of the cloud that the television is connected to, or of the default one. */
Cli::Candidates CloudUsers();

/** Who has records on the television. */
Cli::Candidates UsersWithRecords();

/** These members of all records that were downloaded: record_id, name, address. */
Cli::Candidates Records(const std::vector<std::string>& members);

Cli::Candidates BondedAddresses();

/** What the key "GROUP.KEY" may be set to, where that is a choice. */
Cli::Candidates SettingValues(const std::string& keyName);

}  // namespace Commands
