/** Where a television stands: its user, what is stored for each user and how long it holds, its last run, the
 * next one, and what is wrong. */
#pragma once

#include <json/json.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Cli/Display.h"
#include "Television/Cloud.h"
#include "Television/KeptRun.h"
#include "Television/Stored.h"

namespace Television {

struct UserStatus {
    std::string user;
    /** What runs out: access token, refresh token, activation, application token. */
    std::map<std::string, State> holdings = {};
    UserRecords records = {};
};

/** Something that is wrong with the television. */
struct Problem {
    /** tv.ini, a stored document, the folder, the certificates, the clock or the cloud. */
    std::string subject;
    /** With what helps. */
    std::string words;
    /** Whether it is that something is not the caller's to read. */
    bool isForbidden = false;
};

struct Status {
    std::string folder;
    bool isSignedIn = false;
    /** Empty for none. */
    std::string loginId;
    std::vector<UserStatus> users;
    DeviceList devices;
    bool isFactoryResetRequested = false;
    /** The addresses that the adapter knows, and whether each is paired. */
    std::map<std::string, bool> bluetooth;
    Cloud cloud;
    /** Null for none. */
    KeptRun lastRun;
    /** What the next run will ask for, of token, refresh, activation, app and download. */
    std::vector<std::string> nextRequests;
    /** Each with its reason, or why there are none. */
    std::string nextRun;
    std::vector<Problem> problems;
};

/** @param now seconds since the epoch */
Status ReadStatus(std::int64_t now);

/** Who is signed in; empty for nobody. */
std::string SignedInUser();

/** What can be found without asking anybody: in tv.ini, the folder, the certificates and by the clock. */
std::vector<Problem> FindProblems(std::int64_t now);

Json::Value ToJson(const Status& status);

/** The same for people. */
std::string StatusText(const Status& status, std::int64_t now, const Cli::Style& style);

}  // namespace Television
