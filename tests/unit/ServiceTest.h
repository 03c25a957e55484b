/** What the unit tests share. */
#pragma once

#include <dlog.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <exception>
#include <sstream>
#include <string>

#include "FakePlatform.h"

/** Every test has a television of its own and leaves nothing of it behind. */
class ServiceTest : public ::testing::Test {
protected:
    ServiceTest() {
        Fake::Reset();
    }

    void TearDown() override {
        EXPECT_THAT(Fake::Leftovers(), ::testing::IsEmpty());
    }
};

/** What the action's exception says; "nothing thrown" without one. */
template <typename Action>
std::string Failure(const Action& action) {
    try {
        action();
    } catch (const std::exception& e) {
        return e.what();
    }
    return "nothing thrown";
}

/** The text stored under an alias; "nothing stored" without one. */
inline std::string Stored(const std::string& alias) {
    const auto record = Fake::Tv().records.find(alias);
    return record == Fake::Tv().records.end() ? "nothing stored" : record->second.value_or("no data");
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
