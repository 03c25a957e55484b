/** What the service keeps on the television, read for people to look at. */
#pragma once

#include <json/json.h>

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace Television {

/** The folder of the runs that are kept, in the television's. */
inline constexpr char RUNS_FOLDER[] = "runs";

inline constexpr std::string_view NONE = "none";
inline constexpr std::string_view STORED = "stored";
inline constexpr std::string_view VALID = "valid";
inline constexpr std::string_view EXPIRED = "expired";
inline constexpr std::string_view DAMAGED = "damaged";
inline constexpr std::string_view FORBIDDEN = "forbidden";

/** Of something that is stored. */
struct State {
    /** One of those above; what runs out is VALID or EXPIRED instead of STORED. */
    std::string_view kind = NONE;
    /** Of a damaged one, and of a forbidden one, which may be fine but is not for this user. */
    std::string problem = {};
    /** Of what runs out; negative once it did. */
    std::int64_t secondsLeft = 0;
    /** Enough of what runs out to tell it from another. */
    std::string begins = {};

    /** The kind, or how long it holds or when it ran out. */
    std::string Words() const;
    /** "damaged: ...", of one that has a problem. */
    std::string Complaint() const;
};
Json::Value ToJson(const State& state);

struct Document {
    State state;
    /** An object; empty unless the document is stored. */
    Json::Value value = Json::Value(Json::objectValue);
};

/** The document of that alias. Never throws for what is stored, or cannot be read. */
Document ReadKey(const char* alias);

/** What was downloaded for a user. */
struct UserRecords {
    State state;
    /** What the next run asks from; 0 for none. */
    std::int64_t mark = 0;
    /** Always an array. */
    Json::Value records = Json::Value(Json::arrayValue);
};
UserRecords RecordsOf(const Document& document, const std::string& user);

/** A device as the set's components read it. */
struct Device {
    std::string id;
    std::string name;
    std::string address;
    std::vector<std::string> users;
    bool deletedOnTv = false;
};
Json::Value ToJson(const Device& device);

struct DeviceList {
    State state;
    /** By record id. */
    std::map<std::string, Device> devices;
    /** Why the list cannot be read, and what to do; empty when it can. */
    std::string problem;
};
DeviceList ReadDeviceList();

/** Tokens of all users, the authorisation code and its verifier. */
std::vector<std::string> StoredSecrets();

/** The television's folder and what is in it of tv.ini, the records, the settings and the runs; what is in a
 * folder that cannot be read is left out. */
std::vector<std::filesystem::path> TelevisionPaths();

}  // namespace Television
