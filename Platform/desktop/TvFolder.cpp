#include "TvFolder.h"

#include <dirent.h>
#include <glib.h>
#include <glib/gstdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <mutex>
#include <stdexcept>
#include <system_error>

#include "Ownership.h"
#include "TvIni.h"

namespace TvFolder {

namespace {

constexpr off_t LARGEST_FILE = off_t{256} * 1024 * 1024;
constexpr int FOLDER_MODE = 0700;
constexpr int FILE_MODE = 0600;

std::string TakeText(char* text) {
    const std::unique_ptr<char, decltype(&g_free)> owned(text, &g_free);
    return owned.get();
}

std::string Join(const std::string& folder, const std::string& name) {
    return TakeText(g_build_filename(folder.c_str(), name.c_str(), nullptr));
}

std::string FolderOf(const std::string& path) {
    return TakeText(g_path_get_dirname(path.c_str()));
}

[[noreturn]] void Fail(int error, const std::string& path) {
    throw std::system_error(error, std::generic_category(), path);
}

/** The reason stands at the end of GLib's text, which may be about a temporary file. */
[[noreturn]] void Fail(GError* error, const std::string& path) {
    const std::unique_ptr<GError, decltype(&g_error_free)> owned(error, &g_error_free);
    const std::string message = owned->message;
    const auto reason = message.rfind(": ");
    throw std::runtime_error(path + ": " + message.substr(reason == std::string::npos ? 0 : reason + 2));
}

bool IsPlainName(const std::string& name) {
    return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos &&
           name.find('\0') == std::string::npos;
}

/** Whether a write of the file, when it was killed, left this; GLib names it so. */
bool IsLeftover(std::string_view name, std::string_view file) {
    constexpr std::size_t SUFFIX = sizeof(".XXXXXX") - 1;
    return name.size() == file.size() + SUFFIX && name[file.size()] == '.' &&
           name.substr(0, file.size()) == file;
}

/** Tells one version of a file from another, as far as the file system can. */
struct Version {
    std::string path;
    int error = -1;
    struct stat status = {};

    explicit Version(std::string ofPath) : path(std::move(ofPath)) {
        error = stat(path.c_str(), &status) == 0 ? 0 : errno;
    }
    Version() = default;

    bool operator==(const Version& other) const {
        const auto same = [](const timespec& a, const timespec& b) {
            return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
        };
        return error == other.error && path == other.path && status.st_dev == other.status.st_dev &&
               status.st_ino == other.status.st_ino && status.st_size == other.status.st_size &&
               status.st_mode == other.status.st_mode && same(status.st_mtim, other.status.st_mtim) &&
               same(status.st_ctim, other.status.st_ctim);
    }

    /** A file changed this lately may change again without a new time stamp, whose step is some milliseconds.
     */
    bool IsFresh() const {
        using std::chrono::system_clock;
        const auto changed =
            std::chrono::seconds(status.st_ctim.tv_sec) + std::chrono::nanoseconds(status.st_ctim.tv_nsec);
        const auto age = system_clock::now().time_since_epoch() - changed;
        return error == 0 && std::chrono::abs(age) < std::chrono::milliseconds(50);
    }
};

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
        return {ReadFile(path), path};
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
    static Version known;
    static bool settled = false;
    static std::shared_ptr<const TvIni> ini;

    const std::lock_guard<std::mutex> lock(mutex);
    const Version current(Join(UncheckedPath(), "tv.ini"));
    if (ini == nullptr || !settled || !(current == known)) {
        auto loaded = std::make_shared<const TvIni>(Load(current.path));
        settled = !current.IsFresh();
        known = current;
        if (ini == nullptr || !(*ini == *loaded)) {
            ini = std::move(loaded);
        }
    }
    return ini;
}

Bytes ReadBytes(const std::string& path) {
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0) {
        Fail(errno, path);
    }
    if (!S_ISREG(status.st_mode)) {
        Fail(S_ISDIR(status.st_mode) ? EISDIR : EINVAL, path);
    }
    if (status.st_size > LARGEST_FILE) {
        Fail(EFBIG, path);
    }
    if (access(path.c_str(), R_OK) != 0) {
        Fail(errno, path);
    }
    char* content = nullptr;
    gsize length = 0;
    GError* error = nullptr;
    if (g_file_get_contents(path.c_str(), &content, &length, &error) == FALSE) {
        Fail(error, path);
    }
    return {{content, &std::free}, length};
}

std::string ReadFile(const std::string& path) {
    const Bytes bytes = ReadBytes(path);
    return {bytes.data.get(), bytes.size};
}

void WriteFile(const std::string& path, std::string_view content) {
    const std::string folder = FolderOf(path);
    if (g_mkdir_with_parents(folder.c_str(), FOLDER_MODE) != 0) {
        throw std::runtime_error(folder + ": " + g_strerror(errno));
    }
    constexpr auto FLAGS =
        static_cast<GFileSetContentsFlags>(G_FILE_SET_CONTENTS_CONSISTENT | G_FILE_SET_CONTENTS_DURABLE);
    GError* error = nullptr;
    if (g_file_set_contents_full(path.c_str(), content.data(), static_cast<gssize>(content.size()), FLAGS,
                                 FILE_MODE, &error) == FALSE) {
        Fail(error, path);
    }
}

void RemoveFile(const std::string& path) {
    const std::string folder = FolderOf(path);
    const std::string file = path.substr(path.rfind('/') + 1);
    // Opened first: what makes the removal durable must be there before anything is removed.
    const auto close = [](DIR* dir) { closedir(dir); };
    const std::unique_ptr<DIR, decltype(close)> opened(opendir(folder.c_str()), close);
    if (!opened) {
        Fail(errno, folder);
    }
    const int descriptor = dirfd(opened.get());
    bool isChanged = false;
    while (const dirent* entry = readdir(opened.get())) {
        if (IsLeftover(entry->d_name, file)) {
            if (unlinkat(descriptor, entry->d_name, 0) == 0) {
                isChanged = true;
            } else if (errno != EISDIR) {
                Fail(errno, Join(folder, entry->d_name));
            }
        }
    }
    const int error = unlinkat(descriptor, file.c_str(), 0) == 0 ? 0 : errno;
    if (isChanged || error == 0) {
        fsync(descriptor);  // a failure would come too late, and some file systems cannot do it for a folder
    }
    if (error != 0) {
        Fail(error, path);
    }
}

}  // namespace TvFolder
