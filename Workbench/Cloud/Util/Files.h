/** Files as the cloud uses them: read whole, replaced whole. */
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <tuple>
#include <vector>

namespace LocalCloud {

inline constexpr int PRIVATE_FILE = 0600;
inline constexpr int PUBLIC_FILE = 0644;

/** What changes whenever a file is written. Two equal stamps are the same content. */
using FileStamp = std::tuple<dev_t, ino_t, off_t, time_t, long, time_t, long>;

/** @return nothing when there is no such file */
std::optional<FileStamp> StampOf(const std::string& path);

/** @return nothing when there is no such file @throws CloudError when it cannot be read */
std::optional<std::string> ReadFileIfThere(const std::string& path);

/** @throws CloudError, also when there is no such file */
std::string ReadFile(const std::string& path);

/** Readers see the old content or the new, never a part. @throws CloudError, and the file is as it was */
void ReplaceFile(const std::string& path, const std::string& content, int mode);

/** @return whether there was such a file @throws CloudError */
bool RemoveFile(const std::string& path);

/** Makes the folder, with those above it, for its owner alone. @throws CloudError */
void MakeFolder(const std::string& path);

/** The names in a folder, sorted; none when there is no such folder. */
std::vector<std::string> NamesIn(const std::string& path);

}  // namespace LocalCloud
