#include "TvFolder.h"

#include <glib.h>

#include <algorithm>
#include <cstdlib>
#include <mutex>
#include <stdexcept>

#include "Files.h"
#include "Ownership.h"
#include "TvIni.h"

namespace TvFolder {

namespace {

std::string Join(const std::string& folder, const std::string& name) {
    return folder + '/' + name;
}

bool IsPlainName(const std::string& name) {
    return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos &&
           name.find('\0') == std::string::npos;
}

std::string UncheckedPath() {
    const char* chosen = std::getenv("INFOSYNC_TV_DIR");
    if (chosen != nullptr && *chosen != '\0') {
        return chosen;
    }
    return Join(g_get_user_state_dir(), "infosync-tv");
}

std::string RequireOurs(const std::string& path) {
    const std::string reason = WhyNotOurs(path);
    if (!reason.empty()) {
        throw std::runtime_error(reason);
    }
    return path;
}

TvIni Load(const std::string& path) {
    try {
        IniPath();
    } catch (const std::runtime_error& refusal) {
        return TvIni::Unreadable(std::string(refusal.what()) + "; the television has nothing set");
    }
    try {
        return {Files::Read(path), path};
    } catch (const std::runtime_error& error) {
        return TvIni::Unreadable(std::string(error.what()) +
                                 "; the television has nothing set. Make one with: infosync-tv init");
    }
}

}  // namespace

std::string Path() {
    return RequireOurs(UncheckedPath());
}

std::string Resolve(const std::string& file) {
    return g_path_is_absolute(file.c_str()) != FALSE ? file : Join(Path(), file);
}

std::string IniPath() {
    return RequireOurs(Join(Path(), "tv.ini"));
}

std::optional<std::string> SettingPath(const std::string& key) {
    std::string::size_type start = 0;
    while (start <= key.size()) {
        const auto end = std::min(key.find('/', start), key.size());
        if (!IsPlainName(key.substr(start, end - start))) {
            return std::nullopt;
        }
        start = end + 1;
    }
    return Join(Join(Path(), "settings"), key);
}

std::optional<std::string> KeyPath(const std::string& alias) {
    if (!IsPlainName(alias)) {
        return std::nullopt;
    }
    return Join(Join(Path(), "keys"), alias);
}

std::shared_ptr<const TvIni> ReadIni() {
    static std::mutex mutex;
    static Files::Version known;
    static bool settled = false;
    static std::shared_ptr<const TvIni> ini;

    const std::lock_guard<std::mutex> lock(mutex);
    const std::string path = Join(UncheckedPath(), "tv.ini");
    const Files::Version current(path);
    if (ini == nullptr || !settled || !(current == known)) {
        auto loaded = std::make_shared<const TvIni>(Load(path));
        settled = !current.IsFresh();
        known = current;
        if (ini == nullptr || !(*ini == *loaded)) {
            ini = std::move(loaded);
        }
    }
    return ini;
}

}  // namespace TvFolder
