#include <glib.h>

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <memory>
#include <stdexcept>

#include "Cli/Text.h"
#include "Files.h"
#include "Television/CloudFolder.h"
#include "Television/Commands/Commands.h"
#include "Television/IniFile.h"
#include "TvFolder.h"

namespace Commands {

namespace {

using Television::CloudAddress;

constexpr char TEMPLATE[] =
    R"(# A simulated television. It is read anew at each call of the platform, so changes take effect at once:
# with an editor, or with infosync-tv set GROUP.KEY VALUE. All keys: infosync-tv set --help
[system]
# What the set says of itself. Without a key, the platform has no such value.
model=SIM-TV-55
software_version=1001.2
tizen_version=8.0
tizen_id=
[sso]
# 1 while a user is signed in: infosync-tv sign-in USER
state=0
[bluetooth]
# Devices that are paired with the set: infosync-tv bond ADDRESS
bonded=
[http]
# Where the service's requests really go and whose certificates are trusted: infosync-tv connect
[log]
# V, D, I, W, E or F. At I and below, the log holds tokens whole.
level=W
)";

/** Points the television at the cloud. What cannot be known before the cloud runs is left as it is. */
void Connect(Television::IniFile& ini, const CloudAddress& cloud) {
    ini.Set(TvKeys::CA_FILE, cloud.caFile);
    if (cloud.port != 0) {
        ini.SetList(TvKeys::CONNECT_TO, {"::127.0.0.1:" + std::to_string(cloud.port)});
    }
}

std::string ConnectionText(const CloudAddress& cloud) {
    const std::string name = "the local cloud in " + Cli::Escape(cloud.folder);
    return cloud.port != 0
               ? "connected to " + name + ", port " + std::to_string(cloud.port)
               : name + " does not run\nStart it: infosync-cloud serve --dir '" + Cli::Escape(cloud.folder) +
                     "'   and then: infosync-tv connect '" + Cli::Escape(cloud.folder) + "'";
}

/** The cloud that was named, or the default one where there is one. */
std::unique_ptr<CloudAddress> CloudOf(const std::string& named) {
    if (named.empty() && !std::filesystem::exists(Television::DefaultCloudFolder())) {
        return nullptr;
    }
    return std::make_unique<CloudAddress>(
        Television::FindCloud(named.empty() ? Television::DefaultCloudFolder() : named));
}

/** An id as the set's maker gives it: another one for each television. */
std::string NewTizenId() {
    std::string id = Cli::Taken(g_uuid_string_random());
    id.erase(std::remove(id.begin(), id.end(), '-'), id.end());
    return id;
}

void MakeFolders() {
    for (const char* part : {"keys", "settings"}) {
        Files::MakeFolder(TvFolder::Resolve(part));
    }
}

void Init(const std::string& cloudFolder, bool force) {
    const auto cloud = CloudOf(cloudFolder);
    const std::string folder = Cli::Escape(TvFolder::Path());
    if (!force && std::filesystem::exists(TvFolder::IniPath())) {
        const Television::IniFile soundOrThrow;
        MakeFolders();
        std::cout << "the television in " << folder << " is there already and stays as it is\n";
        return;
    }
    MakeFolders();
    Television::IniFile ini{TEMPLATE};
    ini.Set(TvKeys::TIZEN_ID, NewTizenId());
    if (cloud) {
        Connect(ini, *cloud);
    }
    ini.Save();
    std::cout << "made a television in " << folder << "\n"
              << (cloud ? ConnectionText(*cloud) : "not connected to a local cloud: infosync-tv connect")
              << "\nNext: infosync-tv sign-in USER, then infosync-tv run\n";
}

void AddInit(Cli::Tool& tool) {
    const auto cloud = std::make_shared<std::string>();
    const auto force = std::make_shared<bool>(false);
    Cli::Command command =
        tool.Add("init", "Make a television in the folder",
                 R"(Writes tv.ini, with a Tizen ID of its own, and connects it to the local cloud. A
television that is there stays as it is.

Examples:
  infosync-tv init
  infosync-tv --dir /tmp/tv init --cloud /tmp/cloud)",
                 [cloud, force] { Init(*cloud, *force); });
    command.Option("--cloud", "DIR", *cloud,
                   "the local cloud's folder (default: $INFOSYNC_CLOUD_DIR or infosync-cloud's own)");
    command.Flag("--force", *force, "write tv.ini anew; what the service stored stays");
}

void ConnectTo(const std::string& folder) {
    Television::IniFile ini;
    const CloudAddress cloud =
        Television::FindCloud(folder.empty() ? Television::DefaultCloudFolder() : folder);
    if (cloud.port == 0) {
        throw std::runtime_error(ConnectionText(cloud));
    }
    Connect(ini, cloud);
    ini.Save();
    std::cout << ConnectionText(cloud) << "\n";
}

void AddConnect(Cli::Tool& tool) {
    const auto folder = std::make_shared<std::string>();
    Cli::Command command =
        tool.Add("connect", "Connect the television to a local cloud that runs",
                 R"(Sets [http] connect_to and ca_file; needed again when the cloud listens on another port.

Examples:
  infosync-tv connect
  infosync-tv connect /tmp/cloud)",
                 [folder] { ConnectTo(*folder); });
    command.Operand("CLOUD-DIR", *folder);
}

std::vector<std::string> KeyNames() {
    std::vector<std::string> names;
    for (const TvKey* key : TvKeys::ALL) {
        names.push_back(Television::KeyName(*key));
    }
    return names;
}

/** @param value null to remove the key */
void Set(const std::string& name, const std::string* value) {
    const TvKey* key = Television::FindKey(name);
    Television::IniFile ini;
    if (value == nullptr) {
        ini.Unset(*key);
    } else {
        try {
            ini.Set(*key, *value);
        } catch (const std::invalid_argument& error) {
            throw Cli::UsageError(error.what());
        }
    }
    ini.Save();
}

void AddSet(Cli::Tool& tool) {
    struct Arguments {
        std::string key;
        std::optional<std::string> value;
        bool unset = false;
    };
    const auto arguments = std::make_shared<Arguments>();
    Cli::Command command =
        tool.Add("set", "Set a value of tv.ini",
                 R"(Takes effect at once, also while the service runs. The items of a list are separated by ;.

Keys: )" + Cli::Join(KeyNames(), ", ") +
                     R"(

Examples:
  infosync-tv set log.level D
  infosync-tv set bluetooth.known 'AA:BB:CC:00:11:22;AA:BB:CC:00:11:33'
  infosync-tv set sso.result -- -1
  infosync-tv set system.tizen_id --unset)",
                 [arguments] {
                     if (arguments->unset == arguments->value.has_value()) {
                         throw Cli::UsageError(arguments->unset ? "a VALUE and --unset exclude each other"
                                                                : "VALUE is missing");
                     }
                     Set(arguments->key, arguments->unset ? nullptr : &*arguments->value);
                 });
    command.Operand("GROUP.KEY", arguments->key).OneOf(KeyNames()).Required();
    command.Operand("VALUE", arguments->value);
    command.Flag("--unset", arguments->unset, "remove the key instead");
}

}  // namespace

void AddSetUp(Cli::Tool& tool) {
    AddInit(tool);
    AddConnect(tool);
    AddSet(tool);
}

}  // namespace Commands
