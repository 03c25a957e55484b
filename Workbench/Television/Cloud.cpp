#include "Television/Cloud.h"

#include <glib.h>

#include <exception>
#include <filesystem>
#include <stdexcept>

#include "Cli/StateFolder.h"
#include "Cli/Text.h"
#include "CloudSite.h"
#include "Files.h"
#include "TvFolder.h"
#include "TvIni.h"

namespace Television {

namespace fs = std::filesystem;

std::string Quoted(const std::string& word) {
    return Cli::Taken(g_shell_quote(word.c_str()));
}

std::string DefaultCloudFolder() {
    return Cli::StateFolder("INFOSYNC_CLOUD_DIR", "infosync-cloud");
}

std::string RequireCloud(const std::string& folder) {
    std::string absolute = fs::absolute(folder).lexically_normal().string();
    if (!fs::exists(CloudSite{absolute}.CaFile())) {
        throw std::runtime_error("there is no local cloud in " + Cli::Escape(absolute) +
                                 "\nMake and start one: infosync-cloud serve --dir '" +
                                 Cli::Escape(absolute) + "'");
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
        return {site.folder, 0, Cli::OneLine(error.what())};
    }
}

bool Cloud::Knows(const std::string& user) const {
    std::error_code error;
    for (fs::directory_iterator at(fs::path(folder) / "users", error); !error && at != fs::end(at);
         at.increment(error)) {
        if (at->path().extension() == ".json" &&
            Cli::Taken(g_uri_unescape_string(at->path().stem().c_str(), nullptr)) == user) {
            return true;
        }
    }
    return folder.empty() || static_cast<bool>(error);
}

std::string Cloud::Exchanges() const {
    if (folder.empty()) {
        return "";
    }
    // The cloud's tool is beside this one.
    const std::string tool = fs::read_symlink("/proc/self/exe").replace_filename("infosync-cloud");
    const std::string command = Quoted(tool) + " requests --json --dir=" + Quoted(folder);
    char* output = nullptr;
    char* said = nullptr;
    g_spawn_command_line_sync(command.c_str(), &output, &said, nullptr, nullptr);
    g_free(said);
    return Cli::Taken(output);
}

}  // namespace Television
