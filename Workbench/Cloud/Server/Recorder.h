/** Writes every exchange as one line of JSON. Safe from any thread. */
#pragma once

#include <fstream>
#include <mutex>
#include <string>

#include "Cloud/Server/Exchange.h"

namespace LocalCloud {

class Recorder {
public:
    /** Appends to the file, which is its owner's alone: it will hold tokens. @throws CloudError */
    explicit Recorder(const std::string& path);

    /** Takes the bytes of the request as they came and of the answer as it was meant. */
    void Write(const Exchange& exchange, const std::string& request, const std::string& answer);

private:
    std::mutex m_mutex;
    std::ofstream m_file;
};

}  // namespace LocalCloud
