/** The folder that stands for a television: where its files are, and how they are read and written. */
#pragma once

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

class TvIni;

namespace TvFolder {

/**
 * $INFOSYNC_TV_DIR, or infosync-tv in the user's XDG state folder.
 * @throws std::runtime_error when the folder is somebody else's or others may write to it; the paths below
 * throw the same
 */
std::string Path();

/** A file name from tv.ini; a relative one is relative to the folder. */
std::string Resolve(const std::string& file);

/** @throws std::runtime_error also when the file is somebody else's */
std::string IniPath();

/** The file of a settings key such as "db/owner/name"; nothing for a key that would lead out of settings/. */
std::optional<std::string> SettingPath(const std::string& key);

/** The file of a key-manager record; nothing for an alias that is no plain file name. */
std::optional<std::string> KeyPath(const std::string& alias);

/**
 * The television as tv.ini has it now, with nothing set where the file or its folder is somebody else's. The
 * same object as before when the file has not changed.
 */
std::shared_ptr<const TvIni> ReadIni();

/** Bytes as GLib made them, with a NUL after the last; from GLib's allocator, which is malloc. */
struct Bytes {
    std::unique_ptr<char, decltype(&std::free)> data;
    std::size_t size;
};

/**
 * The file's bytes.
 * @throws std::system_error with ENOENT where there is none, std::runtime_error for any other failure, which
 * includes what is no ordinary file or is over 256 MiB
 */
Bytes ReadBytes(const std::string& path);

/** The same as a text. */
std::string ReadFile(const std::string& path);

/**
 * Replaces the file (mode 0600), making missing folders (0700). A crash or a failure leaves the old or the
 * new content, never a part of it; after the return the content survives a power cut.
 * @throws std::runtime_error, with the file as it was
 */
void WriteFile(const std::string& path, std::string_view content);

/**
 * Deletes the file, and what writes that were killed left beside it (NAME.XXXXXX).
 * @throws std::system_error with ENOENT where there is no such file, else with the reason and the file as it
 * was
 */
void RemoveFile(const std::string& path);

}  // namespace TvFolder
