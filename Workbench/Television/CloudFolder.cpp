#include "Television/CloudFolder.h"

#include <curl/curl.h>
#include <glib.h>

#include <exception>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <vector>

#include "Cli/StateFolder.h"
#include "Cli/Text.h"
#include "Files.h"
#include "TvFolder.h"
#include "TvIni.h"
#include "Util/JsonUtil.h"

namespace Television {

namespace {

constexpr char CLOUD_TOOL[] = "infosync-cloud";
constexpr int HIGHEST_PORT = 65535;
constexpr long LONGEST_WAIT_SECONDS = 10;

/** A member of what a running cloud notes down; 0 when it is no port. */
int PortIn(const Json::Value& note, const char* name) {
    const auto port = InfoSyncUtil::ToInt64(note[name]);
    return port >= 1 && port <= HIGHEST_PORT ? static_cast<int>(port) : 0;
}

/**
 * Whether the cloud that this authority belongs to answers on the port. Any answer will do, since the
 * certificate proves whose it is; on the port for commands, none of the faults that are planned is used up.
 */
bool Answers(int controlPort, const std::string& caFile) {
    const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> curl(curl_easy_init(), &curl_easy_cleanup);
    curl_easy_setopt(curl.get(), CURLOPT_URL, ("https://127.0.0.1:" + std::to_string(controlPort)).c_str());
    curl_easy_setopt(curl.get(), CURLOPT_CAINFO, caFile.c_str());
    curl_easy_setopt(curl.get(), CURLOPT_NOBODY, 1L);
    curl_easy_setopt(curl.get(), CURLOPT_PROXY, "");
    curl_easy_setopt(curl.get(), CURLOPT_TIMEOUT, LONGEST_WAIT_SECONDS);
    return curl_easy_perform(curl.get()) == CURLE_OK;
}

/** The port of the cloud that runs on the folder; 0 when none does, also after one that was killed. */
int FindPort(const CloudAddress& cloud) {
    try {
        const Json::Value note =
            InfoSyncUtil::ParseStoredObject(Files::Read(cloud.folder + "/state/server.json"));
        const int controlPort = PortIn(note, "control_port");
        return controlPort != 0 && Answers(controlPort, cloud.caFile) ? PortIn(note, "port") : 0;
    } catch (const std::exception&) {
        return 0;
    }
}

/** What the cloud's tool, which is beside this one, writes; empty when it fails. */
std::string Ask(const std::string& folder, bool withSecrets) {
    std::string tool = std::filesystem::read_symlink("/proc/self/exe").replace_filename(CLOUD_TOOL).string();
    std::string dir = "--dir=" + folder;
    char request[] = "requests";
    char json[] = "--json";
    char secrets[] = "--show-secrets";
    char* words[] = {tool.data(), request, dir.data(), json, withSecrets ? secrets : nullptr, nullptr};
    char* output = nullptr;
    int status = -1;
    g_spawn_sync(nullptr, words, nullptr, G_SPAWN_STDERR_TO_DEV_NULL, nullptr, nullptr, &output, nullptr,
                 &status, nullptr);
    const std::string text = Cli::Taken(output);
    return status == 0 ? text : "";
}

}  // namespace

std::string DefaultCloudFolder() {
    return Cli::StateFolder("INFOSYNC_CLOUD_DIR", "infosync-cloud");
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
    cloud.port = FindPort(cloud);
    return cloud;
}

Connection FindConnection() {
    const auto ini = TvFolder::ReadIni();
    const std::filesystem::path caFile(TvFolder::Resolve(ini->Text(TvKeys::CA_FILE).value_or("")));
    const auto folder = caFile.parent_path().parent_path();
    if (!ini->Text(TvKeys::CA_FILE) || caFile.filename() != "ca.pem" ||
        folder / "tls" != caFile.parent_path()) {
        return {"", false, "no local cloud: infosync-tv connect"};
    }
    Connection connection{folder.string(), false, ""};
    const std::string quoted = "'" + folder.string() + "'";
    const std::vector<std::string> routes = ini->List(TvKeys::CONNECT_TO);
    try {
        const CloudAddress cloud = FindCloud(folder.string());
        connection.answers = cloud.port != 0 && !routes.empty() &&
                             routes.front() == "::127.0.0.1:" + std::to_string(cloud.port);
        connection.words =
            cloud.port == 0
                ? folder.string() + ", which does not answer: infosync-cloud serve --dir " + quoted
            : connection.answers ? folder.string() + ", which answers on port " + std::to_string(cloud.port)
                                 : folder.string() + ", which now listens on port " +
                                       std::to_string(cloud.port) + ": infosync-tv connect " + quoted;
    } catch (const std::system_error& error) {
        connection.words = folder.string() + ", which cannot be read: " + error.code().message();
    } catch (const std::exception&) {
        connection.words = folder.string() + ", which is gone: infosync-cloud serve --dir " + quoted;
    }
    return connection;
}

Json::Value ReadExchanges(const Masker& masker, bool withSecrets) {
    const Connection connection = FindConnection();
    if (connection.folder.empty() || !connection.answers) {
        return connection.words;
    }
    try {
        const std::string text = Ask(connection.folder, withSecrets);
        return text.empty() ? Json::Value("infosync-cloud requests does not tell")
                            : InfoSyncUtil::ParseJson(withSecrets ? text : masker.MaskKnown(text));
    } catch (const std::exception& error) {
        return std::string("the cloud does not tell: ") + error.what();
    }
}

}  // namespace Television
