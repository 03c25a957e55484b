/** Where a tool keeps what it works on, and that one process does so at a time. */
#pragma once

#include <string>

namespace Cli {

/** The folder that the environment variable names, or the one of that name in the user's XDG state folder.
 * @throws UsageError where the latter is no absolute path */
std::string StateFolder(const char* variable, const char* name);

/** Holds a lock file for as long as it lives; the system lets go of it when the process ends in any way. */
class FileLock {
public:
    enum class Wait { YES, NO };

    /** Makes the file where it is missing. @throws std::system_error when it cannot be made or locked */
    FileLock(const std::string& path, Wait wait);
    ~FileLock();
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

    /** False only with Wait::NO, when another process holds it. */
    bool IsHeld() const {
        return m_held;
    }

private:
    int m_file;
    bool m_held = false;
};

}  // namespace Cli
