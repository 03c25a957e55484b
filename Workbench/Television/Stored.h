/** What the service keeps on the television, read for people to look at. */
#pragma once

#include <json/json.h>

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Util/JsonLimits.h"

namespace Television {

/** Of something that is stored. */
struct State {
    /** FORBIDDEN is what may be fine, but not for this user; VALID and EXPIRED are said of what runs out. */
    enum class Kind { NONE, STORED, VALID, EXPIRED, DAMAGED, FORBIDDEN };

    Kind kind = Kind::NONE;
    /** What is wrong with a damaged or forbidden one. */
    std::string problem = {};
    /** Of what runs out; negative once it did. */
    std::int64_t secondsLeft = 0;
    /** Enough of a token, or of an activation's device id, to tell it from another. */
    std::string detail = {};

    bool IsReadable() const {
        return kind != Kind::DAMAGED && kind != Kind::FORBIDDEN;
    }
    /** "valid", or as the kind is called else. */
    const char* Name() const;
    /** The name, or how long it holds or when it ran out. */
    std::string Words() const;
    /** "damaged: ...", of one that is not readable. */
    std::string Complaint() const;
};

struct Document {
    /** NONE, STORED, DAMAGED or FORBIDDEN. */
    State state;
    /** An object; empty unless the document is stored. */
    Json::Value value = Json::Value(Json::objectValue);
};

/**
 * Never throws for what is stored: a file that cannot be read is a damaged document, or a forbidden one. The
 * empty text and null stand for no document.
 */
Document ReadDocument(const std::optional<std::string>& path,
                      const InfoSyncUtil::JsonLimits& limits = InfoSyncUtil::Limits::TOKENS);

/** The records that were downloaded for a user. */
struct UserRecords {
    /** DAMAGED where the user's entry cannot be read. */
    State state = {};
    /** What the next run asks from; 0 for none. */
    std::int64_t mark = 0;
    /** Always an array. */
    Json::Value records = Json::Value(Json::arrayValue);
};

struct RecordStore {
    /** Of the whole. */
    State state;
    std::map<std::string, UserRecords> users;
};

RecordStore ReadRecords();

/** A device as the set's components read it. */
struct Device {
    std::string id;
    std::string name;
    std::string address;
    std::vector<std::string> users;
    bool deletedOnTv = false;
};

struct DeviceList {
    State state;
    /** By record id. */
    std::map<std::string, Device> devices;
    /** Why the list cannot be read, and what to do; empty when it can. */
    std::string problem;
};

DeviceList ReadDeviceList();

Json::Value ToJson(const Device& device);

/** Tokens of all users, the authorisation code and its verifier. */
std::vector<std::string> StoredSecrets();

/** The television's folder and what is in it of tv.ini, the records, the settings and the runs; what is in a
 * folder that cannot be read is left out. */
std::vector<std::filesystem::path> TelevisionPaths();

}  // namespace Television
