/** Where a television stands: its user, what is stored for each user and how long it holds, its last run, the
 * next one, and what is wrong. */
#pragma once

#include <json/json.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "Cli/Display.h"
#include "Television/KeptRun.h"
#include "Television/Stored.h"

namespace Television {

struct UserStatus {
    std::string user;
    // These run out.
    State accessToken;
    State refreshToken;
    State activation;
    State appToken;
    UserRecords records;
};

/** Something that is wrong with the television. */
struct Problem {
    /** tv.ini, a stored document, the folder, the certificates, the clock or the cloud. */
    std::string subject;
    /** With what helps. */
    std::string words;
};

/** What the next run will ask for. */
struct NextRun {
    /** Of token, refresh, activation, app and download. */
    std::vector<std::string> requests;
    /** Each with its reason, or why there are none. */
    std::string words;
};

struct Status {
    std::string folder;
    bool isSignedIn = false;
    /** Empty for none. */
    std::string loginId;
    std::vector<UserStatus> users;
    DeviceList list;
    bool isResetRequested = false;
    /** The addresses that the adapter knows, and whether each is paired. */
    std::map<std::string, bool> bluetooth;
    /** In words. */
    std::string cloud;
    /** Null for none. */
    KeptRun lastRun;
    NextRun nextRun;
    std::vector<Problem> problems;
};

/** @param now seconds since the epoch */
Status ReadStatus(std::int64_t now);

Json::Value ToJson(const Status& status);

/** The same for people. */
std::string StatusText(const Status& status, std::int64_t now, const Cli::Style& style);

/** Who is signed in; empty for nobody. */
std::string SignedInUser();

/** By the service's questions, in their order, asked of its own records.
 * @param hasRecords whether what is stored is not wiped first */
NextRun PlanFor(const UserStatus& user, bool hasRecords);

/** What is wrong in tv.ini, the folder, the certificates and by the clock. */
std::vector<Problem> FindProblems(std::int64_t now);

/** Adds to what is wrong, unless there are no words. */
void AddProblem(std::vector<Problem>& problems, const std::string& subject, const std::string& words);

}  // namespace Television
