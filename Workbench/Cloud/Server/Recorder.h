/** Appends lines to a file that may run out of room. Safe from any thread. */
#pragma once

#include <cstdint>
#include <mutex>
#include <string>

#include "Cloud/Server/Console.h"

namespace LocalCloud {

class Recorder {
public:
    /** Makes the file where there is none, for its owner alone: it will hold tokens. @throws CloudError */
    Recorder(std::string path, Console& console);
    ~Recorder();
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;

    /** Leaves out, and says so once, what cannot be written; goes on with the next line that can. */
    void Append(const std::string& line);

private:
    bool Write(const std::string& text) const;

    std::string m_path;
    Console& m_console;
    int m_file;
    std::mutex m_mutex;
    std::int64_t m_missing = 0;
};

}  // namespace LocalCloud
