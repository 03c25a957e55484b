/** Files as the programs off the set use them: read whole, replaced whole. */
#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace Files {

/** The modes of files that are their owner's alone, and of those that others may read. */
inline constexpr int PRIVATE = 0600;
inline constexpr int PUBLIC = 0644;

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
std::string Read(const std::string& path);

/** Nothing where there is no such file. @throws as above for any other failure */
std::optional<std::string> ReadIfThere(const std::string& path);

/**
 * Replaces the file, making missing folders (0700). A crash or a failure leaves the old or the new content,
 * never a part of it; after the return the content survives a power cut.
 * @throws std::runtime_error, with the file as it was; also for what is there and is no ordinary file
 */
void Replace(const std::string& path, std::string_view content, int mode = PRIVATE);

/**
 * Deletes the file, and what writes that were killed left beside it (NAME.XXXXXX).
 * @return whether there was such a file
 * @throws std::system_error, with the file as it was
 */
bool Remove(const std::string& path);

/** Makes the folder, with those above it, for its owner alone. @throws std::system_error */
void MakeFolder(const std::string& path);

/** Tells one version of a file from another, as far as the file system can. */
class Version {
public:
    /** Of no file: differs from that of any. */
    Version() = default;
    explicit Version(const std::string& path);

    bool operator==(const Version& other) const;

    /** A file changed this lately may change again without a new time stamp, whose step is some milliseconds.
     */
    bool IsFresh() const;

private:
    std::string m_path;
    int m_error = -1;
    struct stat m_status = {};
};

}  // namespace Files
