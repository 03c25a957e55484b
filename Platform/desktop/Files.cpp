#include "Files.h"

#include <dirent.h>
#include <glib.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <stdexcept>
#include <system_error>

namespace Files {

namespace {

constexpr off_t LARGEST_FILE = off_t{256} * 1024 * 1024;

std::string FolderOf(const std::string& path) {
    const std::unique_ptr<char, decltype(&g_free)> folder(g_path_get_dirname(path.c_str()), &g_free);
    return folder.get();
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

/** Whether a write of the file, when it was killed, left this; GLib names it so. */
bool IsLeftover(std::string_view name, std::string_view file) {
    constexpr std::size_t SUFFIX = sizeof(".XXXXXX") - 1;
    return name.size() == file.size() + SUFFIX && name[file.size()] == '.' &&
           name.substr(0, file.size()) == file;
}

void RequireOrdinary(const struct stat& status, const std::string& path) {
    if (!S_ISREG(status.st_mode)) {
        Fail(S_ISDIR(status.st_mode) ? EISDIR : EINVAL, path);
    }
}

}  // namespace

Bytes ReadBytes(const std::string& path) {
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0) {
        Fail(errno, path);
    }
    RequireOrdinary(status, path);
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
        if (g_error_matches(error, G_FILE_ERROR, G_FILE_ERROR_NOENT) != FALSE) {
            // Another process has removed it since it was looked at.
            g_error_free(error);
            Fail(ENOENT, path);
        }
        Fail(error, path);
    }
    return {{content, &std::free}, length};
}

std::string Read(const std::string& path) {
    const Bytes bytes = ReadBytes(path);
    return {bytes.data.get(), bytes.size};
}

std::optional<std::string> ReadIfThere(const std::string& path) {
    try {
        return Read(path);
    } catch (const std::system_error& error) {
        if (error.code() == std::errc::no_such_file_or_directory) {
            return std::nullopt;
        }
        throw;
    }
}

void Replace(const std::string& path, std::string_view content, int mode) {
    MakeFolder(FolderOf(path));
    struct stat status = {};
    if (stat(path.c_str(), &status) == 0) {
        RequireOrdinary(status, path);  // a device would be replaced, too
    }
    constexpr auto FLAGS =
        static_cast<GFileSetContentsFlags>(G_FILE_SET_CONTENTS_CONSISTENT | G_FILE_SET_CONTENTS_DURABLE);
    GError* error = nullptr;
    if (g_file_set_contents_full(path.c_str(), content.data(), static_cast<gssize>(content.size()), FLAGS,
                                 mode, &error) == FALSE) {
        Fail(error, path);
    }
}

bool Remove(const std::string& path) {
    const std::string folder = FolderOf(path);
    const std::string file = path.substr(path.rfind('/') + 1);
    // Opened first: what makes the removal durable must be there before anything is removed.
    const auto close = [](DIR* dir) { closedir(dir); };
    const std::unique_ptr<DIR, decltype(close)> opened(opendir(folder.c_str()), close);
    if (!opened) {
        if (errno == ENOENT) {
            return false;
        }
        Fail(errno, folder);
    }
    const int descriptor = dirfd(opened.get());
    bool isChanged = false;
    while (const dirent* entry = readdir(opened.get())) {
        if (IsLeftover(entry->d_name, file)) {
            if (unlinkat(descriptor, entry->d_name, 0) == 0) {
                isChanged = true;
            } else if (errno != EISDIR) {
                Fail(errno, folder + "/" + entry->d_name);
            }
        }
    }
    const int error = unlinkat(descriptor, file.c_str(), 0) == 0 ? 0 : errno;
    if (isChanged || error == 0) {
        fsync(descriptor);  // a failure would come too late, and some file systems cannot do it for a folder
    }
    if (error != 0 && error != ENOENT) {
        Fail(error, path);
    }
    return error == 0;
}

void MakeFolder(const std::string& path) {
    if (g_mkdir_with_parents(path.c_str(), S_IRWXU) != 0) {
        Fail(errno, path);
    }
}

Version::Version(const std::string& path) : m_path(path) {
    m_error = stat(path.c_str(), &m_status) == 0 ? 0 : errno;
}

bool Version::operator==(const Version& other) const {
    const auto same = [](const timespec& a, const timespec& b) {
        return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
    };
    return m_error == other.m_error && m_path == other.m_path && m_status.st_dev == other.m_status.st_dev &&
           m_status.st_ino == other.m_status.st_ino && m_status.st_size == other.m_status.st_size &&
           m_status.st_mode == other.m_status.st_mode && same(m_status.st_mtim, other.m_status.st_mtim) &&
           same(m_status.st_ctim, other.m_status.st_ctim);
}

bool Version::IsFresh() const {
    using std::chrono::system_clock;
    const auto changed =
        std::chrono::seconds(m_status.st_ctim.tv_sec) + std::chrono::nanoseconds(m_status.st_ctim.tv_nsec);
    const auto age = system_clock::now().time_since_epoch() - changed;
    return m_error == 0 && std::chrono::abs(age) < std::chrono::milliseconds(50);
}

}  // namespace Files
