/** What is behind both servers. */
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <utility>

#include "Cloud/State/Records.h"
#include "Cloud/State/Settings.h"
#include "Cloud/State/Tokens.h"
#include "Cloud/State/Users.h"

namespace LocalCloud {

struct Cloud {
    /**
     * @param anyUser makes every login id a known one
     * @param clock milliseconds since the epoch
     * @throws std::runtime_error that says what is wrong in the folder
     */
    Cloud(const Folder& cloudFolder, bool anyUser, const RecordBook::Clock& clock)
        : folder(cloudFolder),
          users(cloudFolder, anyUser),
          tokens(cloudFolder, [clock] { return clock() / 1000; }),
          records(cloudFolder, clock),
          secret(Settings(cloudFolder.SettingsFile()).SigningSecret()) {}

    Folder folder;
    Users users;
    TokenStore tokens;
    RecordBook records;
    /** Signs the application tokens. */
    std::string secret;
};

}  // namespace LocalCloud
