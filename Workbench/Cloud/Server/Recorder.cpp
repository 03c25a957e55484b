#include "Cloud/Server/Recorder.h"

#include <fcntl.h>
#include <glib.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "Cloud/Util/Errors.h"
#include "Files.h"

namespace LocalCloud {

Recorder::Recorder(std::string path, Console& console)
    : m_path(std::move(path)),
      m_console(console),
      m_file(::open(m_path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, Files::PRIVATE)) {
    if (m_file < 0) {
        throw CloudError("could not open " + m_path + " to record in: " + g_strerror(errno) +
                         "; name a file that can be written");
    }
}

Recorder::~Recorder() {
    ::close(m_file);
}

void Recorder::Append(const std::string& line) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    const off_t end = ::lseek(m_file, 0, SEEK_END);
    if (Write(line + "\n")) {
        if (m_missing > 0) {
            m_console.Complain("recording in " + m_path +
                               " again; exchanges that are missing there: " + std::to_string(m_missing));
            m_missing = 0;
        }
        return;
    }
    const std::string reason = g_strerror(errno);
    // The beginning of a line would spoil the next one. A pipe has nothing that could be taken back.
    const bool kept = end < 0 || ::ftruncate(m_file, end) != 0;
    if (m_missing++ == 0) {
        m_console.Complain("could not record in " + m_path + ": " + reason +
                           "; exchanges will be missing there until there is room" +
                           (kept ? ", and a line may be torn" : ""));
    }
}

bool Recorder::Write(const std::string& text) const {
    std::size_t written = 0;
    while (written < text.size()) {
        const ssize_t count = ::write(m_file, text.data() + written, text.size() - written);
        if (count < 0 && errno != EINTR) {
            return false;
        }
        written += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    return true;
}

}  // namespace LocalCloud
