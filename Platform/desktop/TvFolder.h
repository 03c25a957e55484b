/** The folder that stands for a television: where its files are, and how they are read and written. */
#pragma once

#include <memory>
#include <optional>
#include <string>

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

}  // namespace TvFolder
