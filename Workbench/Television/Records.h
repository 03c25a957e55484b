/** The device records that were downloaded, for each user. */
#pragma once

#include <json/json.h>

#include <cstdint>
#include <string>
#include <vector>

namespace Television {

struct UserRecords {
    std::string user;
    /** What the next run asks from; 0 for none. */
    std::int64_t mark = 0;
    /** Always an array. */
    Json::Value records = Json::Value(Json::arrayValue);
    /** Why the user's entry cannot be read; empty when it can. */
    std::string problem;
};

/**
 * @param user empty for all users
 * @throws std::runtime_error when the document is damaged or has nothing of the user
 */
std::vector<UserRecords> ReadRecords(const std::string& user);

Json::Value ToJson(const std::vector<UserRecords>& users);

}  // namespace Television
