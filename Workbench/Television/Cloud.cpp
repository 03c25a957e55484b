#include "Television/Cloud.h"

#include <glib.h>

#include <algorithm>
#include <exception>
#include <filesystem>
#include <stdexcept>

#include "Cli/Text.h"
#include "CloudSite.h"
#include "TvFolder.h"
#include "TvIni.h"

namespace Television {

namespace fs = std::filesystem;

std::string RequireCloud(const std::string& folder) {
    std::string absolute = fs::absolute(folder).lexically_normal().string();
    if (!fs::exists(CloudSite{absolute}.CaFile())) {
        throw std::runtime_error("there is no local cloud in " + absolute + ": infosync-cloud serve --dir '" +
                                 absolute + "'");
    }
    return absolute;
}

Cloud Cloud::Find() {
    const auto ini = TvFolder::ReadIni();
    const CloudSite site = CloudSite::Of(*ini);
    if (site.folder.empty()) {
        return {"", 0, "no local cloud: infosync-tv set http.cloud FOLDER"};
    }
    try {
        RequireCloud(site.folder);
        const int port = site.LivePort();
        const bool isOverridden = !ini->List(TvKeys::CONNECT_TO).empty();
        return {site.folder, port,
                site.folder + ", on port " + std::to_string(port) +
                    (isOverridden ? "; but requests go where http.connect_to says" : "")};
    } catch (const std::exception& error) {
        return {site.folder, 0, error.what()};
    }
}

bool Cloud::Knows(const std::string& user) const {
    std::error_code error;
    const fs::directory_iterator users(fs::path(folder) / "users", error);
    return folder.empty() || error || std::any_of(begin(users), end(users), [&user](const auto& file) {
               return Cli::Taken(g_uri_unescape_string(file.path().stem().c_str(), nullptr)) == user;
           });
}

}  // namespace Television
