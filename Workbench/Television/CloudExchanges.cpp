#include "Television/CloudExchanges.h"

#include <glib.h>

#include <exception>
#include <filesystem>
#include <memory>

#include "Television/CloudFolder.h"
#include "Util/JsonUtil.h"

namespace Television {

namespace {

constexpr char CLOUD_TOOL[] = "infosync-cloud";

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
    const std::unique_ptr<char, decltype(&g_free)> owned(output, &g_free);
    return status == 0 && owned ? owned.get() : "";
}

}  // namespace

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
