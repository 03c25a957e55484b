#include "Television/CloudFolder.h"

#include <glib.h>

#include <cstdlib>
#include <exception>
#include <filesystem>
#include <stdexcept>

#include "Cli/Text.h"
#include "TvFolder.h"
#include "Util/JsonUtil.h"

namespace Television {

namespace {

constexpr int HIGHEST_PORT = 65535;

/** The port that a running cloud notes down; 0 when there is none. */
int ReadPort(const std::string& file) {
    try {
        const auto port =
            InfoSyncUtil::ToInt64(InfoSyncUtil::ParseStoredObject(TvFolder::ReadFile(file))["port"]);
        return port >= 1 && port <= HIGHEST_PORT ? static_cast<int>(port) : 0;
    } catch (const std::exception&) {
        return 0;
    }
}

}  // namespace

std::string DefaultCloudFolder() {
    const char* chosen = std::getenv("INFOSYNC_CLOUD_DIR");
    return chosen != nullptr && *chosen != '\0' ? chosen
                                                : std::string(g_get_user_state_dir()) + "/infosync-cloud";
}

CloudAddress FindCloud(const std::string& folder) {
    CloudAddress cloud;
    cloud.folder = std::filesystem::absolute(folder).lexically_normal().string();
    cloud.caFile = cloud.folder + "/tls/ca.pem";
    if (!std::filesystem::exists(cloud.caFile)) {
        throw std::runtime_error("there is no local cloud in " + Cli::Escape(cloud.folder) +
                                 "\nMake and start one: infosync-cloud serve --dir '" +
                                 Cli::Escape(cloud.folder) + "'");
    }
    cloud.port = ReadPort(cloud.folder + "/state/server.json");
    return cloud;
}

}  // namespace Television
