/** A cloud's folder that is there for one test, with the user ann, and the cloud in it. */
#pragma once

#include <glib.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <string>

#include "Cli/Json.h"
#include "Cli/Text.h"
#include "Cloud/Protocol/Endpoints.h"
#include "Files.h"
#include "Rows.h"

namespace LocalCloud {

class CloudTest : public testing::Test {
protected:
    CloudTest() {
        cloud.users.Add(ANN);
    }
    ~CloudTest() override {
        std::error_code ignored;
        std::filesystem::remove_all(folder.Path(), ignored);
    }

    static constexpr char ANN[] = "ann@example.com";

    Folder folder{Cli::Taken(g_dir_make_tmp("cloud-tests-XXXXXX", nullptr))};
    std::int64_t now = 1'700'000'000;
    const Clock clock = [this] { return now * 1000; };
    Cloud cloud{folder, clock};
    TokenStore& tokens = cloud.tokens;
};

}  // namespace LocalCloud
