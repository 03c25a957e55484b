/** A cloud's folder that is there for one test. */
#pragma once

#include <glib.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <iterator>
#include <string>

#include "Cli/Text.h"
#include "Cloud/Protocol/Endpoints.h"

namespace LocalCloud {

class CloudTest : public testing::Test {
protected:
    CloudTest() {
        users.Add(ANN);
    }
    ~CloudTest() override {
        std::error_code ignored;
        std::filesystem::remove_all(folder.Path(), ignored);
    }

    static Answer Ask(Cloud& cloud, const std::string& name, const httplib::Request& request) {
        const auto* endpoint = std::find_if(std::begin(ENDPOINTS), std::end(ENDPOINTS),
                                            [&](const Endpoint& each) { return name == each.name; });
        return AnswerTo(*endpoint, cloud, request);
    }

    static constexpr char ANN[] = "ann@example.com";

    Folder folder{Cli::Taken(g_dir_make_tmp("cloud-tests-XXXXXX", nullptr))};
    Users users{folder};
    std::int64_t now = 1'700'000'000;
};

}  // namespace LocalCloud
