#include "Television/Cloud.h"

#include <exception>
#include <filesystem>
#include <stdexcept>

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
    Cloud cloud = {CloudSite::Of(*ini).folder, 0, "no local cloud: infosync-tv set http.cloud FOLDER"};
    try {
        if (!cloud.folder.empty()) {
            RequireCloud(cloud.folder);
            cloud.port = CloudSite{cloud.folder}.LivePort();
            const bool isOverridden = !ini->List(TvKeys::CONNECT_TO).empty();
            cloud.words = cloud.folder + ", on port " + std::to_string(cloud.port) +
                          (isOverridden ? "; but requests go where http.connect_to says" : "");
        }
    } catch (const std::exception& error) {
        cloud.words = error.what();
    }
    return cloud;
}

}  // namespace Television
