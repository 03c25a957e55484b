/** What the service keeps on the television, read for people to look at. */
#pragma once

#include <json/json.h>

#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace Television {

/**
 * Of something that is stored, as --json shows it: an object whose "state" is one of those below. DAMAGED and
 * FORBIDDEN (it may be fine, but is not for this user) have a "problem". What runs out is VALID or EXPIRED
 * instead of STORED, with "seconds_left", and "begins" to tell one from another.
 */
using State = Json::Value;
inline constexpr char NONE[] = "none";
inline constexpr char STORED[] = "stored";
inline constexpr char VALID[] = "valid";
inline constexpr char EXPIRED[] = "expired";
inline constexpr char DAMAGED[] = "damaged";
inline constexpr char FORBIDDEN[] = "forbidden";

State MakeState(const char* kind, const std::string& problem = "");

/** The kind, or how long it holds or when it ran out. */
std::string StateWords(const State& state);

/** "damaged: ...", of one that has a problem. */
std::string Complaint(const State& state);

struct Document {
    State state = MakeState(NONE);
    /** An object; empty unless the document is stored. */
    Json::Value value = Json::Value(Json::objectValue);
};

/** The document of that alias. Never throws for what is stored, or cannot be read. */
Document ReadKey(const char* alias);

/** The state of what was downloaded for a user, with "records", an array, and "mark", what the next run asks
 * from, or 0. */
State RecordsOf(const Document& document, const std::string& user);

struct DeviceList {
    State state;
    /** By id, as --json shows them: "id", "name", "address", "deleted_on_tv" and "users". */
    std::map<std::string, Json::Value> devices;
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
