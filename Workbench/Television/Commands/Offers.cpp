#include "Television/Commands/Offers.h"

#include <glib.h>

#include <filesystem>
#include <sstream>

#include "Cli/Json.h"
#include "Cli/Text.h"
#include "Television/CloudFolder.h"
#include "Television/IniFile.h"
#include "Television/Stored.h"
#include "TvFolder.h"

namespace Commands {

Cli::Candidates CloudUsers() {
    const auto caFile = TvFolder::ReadIni()->Text(TvKeys::CA_FILE);
    const std::filesystem::path cloud = caFile ? std::filesystem::path(*caFile).parent_path().parent_path()
                                               : std::filesystem::path(Television::DefaultCloudFolder());
    Cli::Candidates candidates;
    for (const auto& entry : std::filesystem::directory_iterator(cloud / "users")) {
        const std::string login = Cli::Taken(g_uri_unescape_string(entry.path().stem().c_str(), nullptr));
        if (!login.empty() && entry.path().extension() == ".json") {
            candidates.push_back({login, ""});
        }
    }
    return candidates;
}

Cli::Candidates UsersWithRecords() {
    Cli::Candidates candidates;
    for (const Television::UserRecords& user : Television::ReadRecords()) {
        candidates.push_back({user.user, ""});
    }
    return candidates;
}

Cli::Candidates Records(const std::vector<std::string>& members) {
    const std::vector<Television::UserRecords> users = Television::ReadRecords();
    Cli::Candidates candidates;
    for (const std::string& member : members) {
        for (const Television::UserRecords& user : users) {
            for (const Json::Value& record : user.records) {
                const std::string name = member == "name" ? "" : Cli::TextMember(record, "name");
                candidates.push_back({Cli::TextMember(record, member), name});
            }
        }
    }
    return candidates;
}

Cli::Candidates BondedAddresses() {
    Cli::Candidates candidates;
    for (const std::string& address : TvFolder::ReadIni()->List(TvKeys::BONDED)) {
        candidates.push_back({address, ""});
    }
    return candidates;
}

Cli::Candidates SettingValues(const std::string& keyName) {
    const TvKey* key = Television::FindKey(keyName);
    if (key == &TvKeys::LOGIN_ID) {
        return CloudUsers();
    }
    if (key == nullptr) {
        return {};
    }
    Cli::Candidates candidates;
    const std::string unset = key->type == TvKey::Type::Integer ? std::to_string(key->fallbackNumber)
                              : key->fallbackText == nullptr    ? ""
                                                                : key->fallbackText;
    if (key->choices == nullptr && !unset.empty()) {
        candidates.push_back({unset, "when it is not set"});
    }
    std::istringstream choices(key->choices == nullptr ? "" : key->choices);
    for (std::string choice; choices >> choice;) {
        candidates.push_back({choice, ""});
    }
    return candidates;
}

}  // namespace Commands
