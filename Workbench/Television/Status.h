/** Where a television stands: its user, what is stored for each user and how long it holds, its last run, the
 * next one, and what is wrong. */
#pragma once

#include <json/json.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "AuthData/CAccessToken.h"
#include "Cli/Display.h"
#include "Television/Cloud.h"
#include "Television/KeptRun.h"
#include "Television/Stored.h"

namespace Television {

struct UserStatus {
    std::string user;
    bool isSignedIn = false;
    State accessToken = {};
    State refreshToken = {};
    State activation = {};
    State appToken = {};
    State records = {};
    std::size_t recordCount = 0;
    /** What the next download asks from; 0 for none. */
    std::int64_t mark = 0;
};

/** Something that is wrong with the television. */
struct Problem {
    /** tv.ini, a stored document, the folder, the certificates, the clock or the cloud. */
    std::string subject;
    /** With what helps. */
    std::string words;
    /** Whether it is that something is not the caller's to read. */
    bool isForbidden = false;
    /** Of tv.ini; 0 for none. */
    std::size_t line = 0;
};

/** What the next run will ask for, by the service's own tests. */
struct Plan {
    struct Request {
        /** token, refresh, activation, app or download */
        std::string name;
        std::string why;
    };
    std::vector<Request> requests;
    /** All of it, or why it is nothing. */
    std::string words;
};

struct BluetoothDevice {
    std::string address;
    bool isPaired = false;
    /** That of a record; may be empty. */
    std::string name;
};

struct Status {
    std::string folder;
    bool isSignedIn = false;
    /** Empty for none. */
    std::string loginId;
    std::vector<UserStatus> users;
    State devices;
    std::size_t deviceCount = 0;
    State authCode;
    bool isFactoryResetRequested = false;
    std::vector<BluetoothDevice> bluetooth;
    Cloud cloud;
    std::optional<KeptRun> lastRun;
    Plan nextRun;
    std::vector<Problem> problems;
};

/** @param now seconds since the epoch */
Status ReadStatus(std::int64_t now);

/** Who is signed in; empty for nobody. */
std::string SignedInUser();

/** The user's tokens as the service reads them: what cannot be read is none. */
CAccessToken TokensOf(const std::string& user);

/** @param status as far as it is known */
Plan PlanNextRun(const Status& status, std::int64_t now);

/** What can be found without asking anybody: in tv.ini, the folder, the certificates and by the clock. */
std::vector<Problem> FindProblems(std::int64_t now);

Json::Value ToJson(const Status& status);

/** The same for people. */
std::string StatusText(const Status& status, std::int64_t now, const Cli::Style& style);

}  // namespace Television
