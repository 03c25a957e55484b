/** Texts that are known by a file. */
#pragma once

#include <glib.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "FakePlatform.h"

/**
 * Expects the text to be that of the file in this folder. INFOSYNC_WRITE_TRANSCRIPTS=1 in the environment
 * writes the file anew, to be looked at as a difference in version control.
 */
inline void ExpectFile(const std::string& name, const std::string& text) {
    const std::string path = std::string(INFOSYNC_EXPECTED) + "/" + name;
    if (std::getenv("INFOSYNC_WRITE_TRANSCRIPTS") != nullptr) {
        std::ofstream(path) << text;
        return;
    }
    std::string other = ::testing::TempDir() + "expected-XXXXXX";
    close(g_mkstemp(other.data()));
    std::ofstream(other) << text;
    const char* command[] = {"diff", "-uN", path.c_str(), other.c_str(), nullptr};
    char* output = nullptr;
    g_spawn_sync(nullptr, const_cast<char**>(command), nullptr, G_SPAWN_SEARCH_PATH, nullptr, nullptr,
                 &output, nullptr, nullptr, nullptr);
    unlink(other.c_str());
    EXPECT_STREQ(output, "")
        << "Where this is meant, write the files anew:\nINFOSYNC_WRITE_TRANSCRIPTS=1 ctest --preset "
           "release -L unit";
    g_free(output);
}

/** What the service did from the first call that names the text on, without what it logs for debugging. */
inline std::string DoneFrom(const std::string& text) {
    std::istringstream lines(Fake::Transcript());
    std::string done;
    for (std::string line; std::getline(lines, line);) {
        const bool isFrom = !done.empty() || line.find(text) != std::string::npos;
        done += isFrom && line.rfind("D ", 0) != 0 ? line + "\n" : "";
    }
    return done;
}
