#include "Cli/StateFolder.h"

#include <fcntl.h>
#include <glib.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "Cli/Tool.h"

namespace Cli {

std::string StateFolder(const char* variable, const char* name) {
    const char* chosen = g_getenv(variable);
    if (chosen != nullptr && *chosen != '\0') {
        return chosen;
    }
    const std::string state = g_get_user_state_dir();
    if (g_path_is_absolute(state.c_str()) == FALSE) {
        throw UsageError("HOME and XDG_STATE_HOME must be absolute paths: \"" + state + "\" is none");
    }
    return state + "/" + name;
}

FileLock::FileLock(const std::string& path, Wait wait)
    : m_file(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR)) {
    if (m_file < 0) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    int result = 0;
    do {
        result = flock(m_file, wait == Wait::YES ? LOCK_EX : LOCK_EX | LOCK_NB);
    } while (result != 0 && errno == EINTR);
    if (result != 0 && errno != EWOULDBLOCK) {
        const int error = errno;
        close(m_file);
        throw std::system_error(error, std::generic_category(), path);
    }
    m_held = result == 0;
}

FileLock::~FileLock() {
    close(m_file);
}

}  // namespace Cli
