/** What some system calls of this program do: as the system has it, unless a test asks for something else. */
#pragma once

#include <sys/stat.h>

#include <string>

namespace SystemCalls {

enum class Writes { WHOLE, INTERRUPTED_ONCE, BYTE_BY_BYTE };

struct State {
    Writes writes = Writes::WHOLE;
    /** A file of which stat() tells the status that stands below. */
    std::string statusOf;
    struct stat status = {};
    int filesSynced = 0;
    int foldersSynced = 0;
};

/** Begins anew. */
State& Reset();

}  // namespace SystemCalls
