/** What the service keeps on the television, read for people to look at. */
#pragma once

#include <json/json.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace Television {

struct Document {
    /** FORBIDDEN is one that may be fine, but not for this user. */
    enum class Condition { MISSING, DAMAGED, FORBIDDEN, FINE };

    Condition condition = Condition::MISSING;
    /** What is wrong with a damaged or forbidden one. */
    std::string problem;
    /** An object; empty unless the document is fine. */
    Json::Value value = Json::Value(Json::objectValue);

    bool IsReadable() const {
        return condition == Condition::MISSING || condition == Condition::FINE;
    }

    /**
     * What to tell of one that is not readable.
     * @param name such as "the device list is"
     * @param remedy of a damaged one
     */
    std::string Complaint(const std::string& name, const std::string& remedy) const;
};

/** Never throws for what is stored: a file that cannot be read is a damaged document, or a forbidden one. */
Document ReadKey(const std::string& alias);

/** The same for the sign-in service's document, whose value stays empty. */
Document ReadAuthCode();

/** As ReadKey; the empty text and null, which stand for no value, read as a missing document. */
Document ReadSetting(const std::string& key);

/** The records that were downloaded for a user. */
struct UserRecords {
    std::string user;
    /** What the next run asks from; 0 for none. */
    std::int64_t mark = 0;
    /** Always an array. */
    Json::Value records = Json::Value(Json::arrayValue);
    /** Why the user's entry cannot be read; empty when it can. */
    std::string problem;
};

/** Of all users, by name. @throws std::runtime_error, saying what helps, when the document is damaged */
std::vector<UserRecords> ReadRecords();

/** A device as the set's components read it. */
struct Device {
    std::string name;
    std::string address;
    std::vector<std::string> users;
    bool deletedOnTv = false;
};

struct DeviceList {
    /** By record id. */
    std::map<std::string, Device> devices;
    /** Why the list cannot be read, and what to do; empty when it can. */
    std::string problem;
};

DeviceList ReadDeviceList();

Json::Value ToJson(const DeviceList& list);
Json::Value ToJson(const std::vector<std::string>& texts);

}  // namespace Television
