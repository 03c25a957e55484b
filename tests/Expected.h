/** Texts that are known by a file. */
#pragma once

#include <glib.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <string>

/**
 * Expects the text to be that of the file in the test's own folder. INFOSYNC_WRITE_EXPECTED=1 in the
 * environment writes the file anew, to be looked at as a difference in version control.
 */
inline void ExpectFile(const std::string& name, const std::string& text) {
    const std::string path = name[0] == '/' ? name : std::string(TABLES) + "/" + name;
    if (std::getenv("INFOSYNC_WRITE_EXPECTED") != nullptr) {
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
    EXPECT_STREQ(output, "") << "Where this is meant, write the files anew:\n"
                             << "INFOSYNC_WRITE_EXPECTED=1 ctest --preset release -R 'unit|workbench'";
    g_free(output);
}
