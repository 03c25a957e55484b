/** The folder that stands for a television: where its files are, and how they are read and written. */
#pragma once

#include <memory>
#include <optional>
#include <string>

class TvIni;

namespace TvFolder {

/** $INFOSYNC_TV_DIR, or infosync-tv in the user's XDG state folder. */
std::string Path();

/** A file name from tv.ini; a relative one is relative to the folder. */
std::string Resolve(const std::string& file);

std::string IniPath();

/** The file of a settings key such as "db/owner/name"; nothing for a key that would lead out of settings/. */
std::optional<std::string> SettingPath(const std::string& key);

/** The file of a key-manager record; nothing for an alias that is no plain file name. */
std::optional<std::string> KeyPath(const std::string& alias);

/** The television as tv.ini has it now. The same object as before when the file has not changed. */
std::shared_ptr<const TvIni> ReadIni();

/**
 * The file's bytes.
 * @throws std::system_error with ENOENT where there is none, std::runtime_error for any other failure, which
 * includes what is no ordinary file or is over 256 MiB
 */
std::string ReadFile(const std::string& path);

/**
 * Replaces the file (mode 0600), making missing folders (0700). A crash or a failure leaves the old or the
 * new content, never a part of it; after the return the content survives a power cut.
 * @throws std::runtime_error, with the file as it was
 */
void WriteFile(const std::string& path, const std::string& content);

/** Deletes the file, durably. @throws std::system_error with ENOENT where there is none, else with the reason
 */
void RemoveFile(const std::string& path);

}  // namespace TvFolder
