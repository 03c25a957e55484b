/** A cloud's folder that is there for one test. */
#pragma once

#include <glib.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

#include "Cloud/Protocol/Endpoints.h"

namespace LocalCloud {

class TemporaryFolder {
public:
    TemporaryFolder() : m_path(g_dir_make_tmp("cloud-tests-XXXXXX", nullptr), &g_free) {}
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path.get(), ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    std::string Path() const {
        return m_path.get();
    }

private:
    std::unique_ptr<char, decltype(&g_free)> m_path;
};

class CloudTest : public testing::Test {
protected:
    CloudTest() {
        folder.Prepare();
        users.Add(ANN);
    }

    static constexpr char ANN[] = "ann@example.com";

    TemporaryFolder temporary;
    Folder folder{temporary.Path()};
    Users users{folder};
    std::int64_t now = 1'700'000'000;
};

}  // namespace LocalCloud
