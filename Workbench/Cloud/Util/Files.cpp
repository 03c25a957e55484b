#include "Cloud/Util/Files.h"

#include <glib.h>
#include <glib/gstdio.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <memory>

#include "Cloud/Util/Errors.h"

namespace LocalCloud {

namespace {

[[noreturn]] void ThrowAndFree(GError* error) {
    const std::string reason = error->message;
    g_error_free(error);
    throw CloudError(reason);
}

[[noreturn]] void ThrowErrno(const std::string& what, int code) {
    throw CloudError(what + ": " + g_strerror(code));
}

}  // namespace

std::optional<FileStamp> StampOf(const std::string& path) {
    struct stat status = {};
    if (::stat(path.c_str(), &status) != 0) {
        return std::nullopt;
    }
    return FileStamp(status.st_dev, status.st_ino, status.st_size, status.st_mtim.tv_sec,
                     status.st_mtim.tv_nsec, status.st_ctim.tv_sec, status.st_ctim.tv_nsec);
}

std::optional<std::string> ReadFileIfThere(const std::string& path) {
    gchar* content = nullptr;
    gsize length = 0;
    GError* error = nullptr;
    if (g_file_get_contents(path.c_str(), &content, &length, &error) == FALSE) {
        if (g_error_matches(error, G_FILE_ERROR, G_FILE_ERROR_NOENT) != FALSE) {
            g_error_free(error);
            return std::nullopt;
        }
        ThrowAndFree(error);
    }
    const std::unique_ptr<gchar, decltype(&g_free)> owner(content, &g_free);
    return std::string(content, length);
}

std::string ReadFile(const std::string& path) {
    auto content = ReadFileIfThere(path);
    if (!content) {
        throw CloudError("there is no file " + path);
    }
    return *std::move(content);
}

void ReplaceFile(const std::string& path, const std::string& content, int mode) {
    GError* error = nullptr;
    if (g_file_set_contents_full(path.c_str(), content.data(), static_cast<gssize>(content.size()),
                                 G_FILE_SET_CONTENTS_CONSISTENT, mode, &error) == FALSE) {
        ThrowAndFree(error);
    }
}

bool RemoveFile(const std::string& path) {
    if (g_unlink(path.c_str()) == 0) {
        return true;
    }
    if (errno != ENOENT) {
        ThrowErrno("could not remove " + path, errno);
    }
    return false;
}

void MakeFolder(const std::string& path) {
    constexpr int PRIVATE_FOLDER = 0700;
    if (g_mkdir_with_parents(path.c_str(), PRIVATE_FOLDER) != 0) {
        ThrowErrno("could not make the folder " + path, errno);
    }
}

std::vector<std::string> NamesIn(const std::string& path) {
    const std::unique_ptr<GDir, decltype(&g_dir_close)> folder(g_dir_open(path.c_str(), 0, nullptr),
                                                               &g_dir_close);
    std::vector<std::string> names;
    while (const char* name = folder ? g_dir_read_name(folder.get()) : nullptr) {
        names.emplace_back(name);
    }
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace LocalCloud
