/** Looks for what keeps a television from working before a run stumbles over it. */
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Television {

struct CheckResult {
    /** What was looked at: "tv.ini", "folder", "certificates", "cloud" or "clock". */
    std::string subject;
    bool isFine = true;
    /** What was seen, with what helps where something is wrong. */
    std::string words;
};

/** @param now seconds since the epoch */
std::vector<CheckResult> CheckTelevision(std::int64_t now);

}  // namespace Television
