/**
 * A television in memory behind the platform's own symbols, driven by what follows. A test that misuses it is
 * ended at once.
 */
#pragma once

#include <sso.h>

#include <cstdint>
#include <deque>
#include <functional>
#include <initializer_list>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace Fake {

inline constexpr char LOGIN_ID[] = "user-1";
inline constexpr char DEVICES_KEY[] = "db/com.quorlen.tv.bt-orbmanager/btinfosync/devices";
inline constexpr char RESET_KEY[] = "db/com.quorlen.tv.bt-orbmanager/btinfosync/factory_reset_flag";

struct AuthCodeAnswer {
    int result = SSO_TRUE;
    std::optional<std::string> document;
};

/** What the platform's calls read and write. A missing value is one that the platform does not have. */
struct Television {
    std::int64_t now = 1000;
    std::map<std::string, int> intSettings;
    std::map<std::string, std::string> textSettings;
    /** By alias. A record without a text reads as a buffer without data. */
    std::map<std::string, std::optional<std::string>> records;
    std::map<int, std::string> systemInfo = {{0, "M"}, {1, "6.5"}, {128, "B"}};
    std::map<std::string, std::string> platformInfo = {{"http://tizen.org/system/tizenid", "tizen-id"}};
    /** The devices that the adapter knows, by address, and whether they are bonded. */
    std::map<std::string, bool> bonds;
    /** One for each check; the last one stays. */
    std::vector<int> signInStates = {1};
    std::optional<std::string> loginId = LOGIN_ID;
    /** Delivered from the main loop; without one the sign-in service never answers. */
    std::optional<AuthCodeAnswer> authCodeAnswer;
    /** Returned by the calls that hand a value over, or only start something, although they do it. */
    int resultToIgnore = 0;
};

struct LogEntry {
    int priority;
    std::string file;
    std::string function;
    std::string message;
};

struct AuthCodeRequest {
    std::string clientId;
    std::string scope;
    sso_authcode_cb callback;
    void* userData;
    /** What the callback said to its delivery. */
    std::optional<int> returned;
};

struct HttpAnswer {
    std::vector<std::string> pieces;
    long status = 200;
    /** Whether the exchange comes to its end. */
    bool whole = true;
};

struct HttpRequest {
    /** The client's settings in call order: "OPTION=VALUE" where the value is a text or a number. */
    std::vector<std::string> settings;
    std::string url;
    std::vector<std::string> header;
    std::optional<std::string> body;
};

enum class Keep { EVERYTHING, ERRORS };

/**
 * A new television, signed in, with nothing stored.
 * @param keep ERRORS keeps the log from DLOG_ERROR up and no transcript: a fuzzer, which nobody reads along
 * with, is twice as fast for it
 */
void Reset(Keep keep = Keep::EVERYTHING);

/** What a test planned and did not use up, or took and did not give back. */
std::vector<std::string> Leftovers();

Television& Tv();

/**
 * The operation's n-th call from now (1 is the next) has no effect, delivers nothing and returns the error;
 * the error 0 makes it look like a success.
 */
void FailCall(const std::string& operation, int n = 1, int error = -1);

/** The calls so far, as "OPERATION ARGUMENTS"; of the given operations, or of all but the log. */
std::vector<std::string> Calls(std::initializer_list<const char*> operations = {});

const std::vector<LogEntry>& Log();

/**
 * All that the service did, in one order: "> OPERATION ARGUMENTS" for a call of the platform, "P FUNCTION:
 * MESSAGE" for a log entry of the priority P. Source lines are left out.
 */
const std::string& Transcript();

/** The messages of one priority, in order. */
std::vector<std::string> Logged(int priority);

const std::vector<AuthCodeRequest>& AuthCodeRequests();

/** Queues the answer to the next request that has none yet; a request without an answer is misuse. */
void Answer(const HttpAnswer& answer);
void Answer(const std::string& body, long status = 200);

/** Lets the server answer every request that no answer is queued for. */
void Serve(std::function<HttpAnswer(const HttpRequest&)> server);

const std::vector<HttpRequest>& HttpRequests();

/** Runs what waits in the main loop, without waiting for more. */
void RunPending();

/** Whether the last main loop ended because nothing was left to do, where a real one would wait for ever. */
bool LoopWasLeftWaiting();

// What the fakes share, and no test needs.

struct PlannedFailure {
    std::string operation;
    int callsUntil;
    int error;
};

struct State {
    Keep keep = Keep::EVERYTHING;
    Television tv;
    std::vector<PlannedFailure> failures;
    std::vector<std::pair<std::string, std::string>> calls;
    std::vector<LogEntry> log;
    std::string transcript;
    std::vector<AuthCodeRequest> authCodeRequests;
    std::deque<HttpAnswer> answers;
    std::function<HttpAnswer(const HttpRequest&)> server;
    std::vector<HttpRequest> httpRequests;
    /** What the service holds and has to give back. */
    std::set<const void*> handedOut;
    bool loopLeftWaiting = false;
};

State& TheState();

[[noreturn]] void Misused(const std::string& what);

/** Adds what happened to the transcript, a line or more. */
void Note(const std::string& what);

/**
 * Records the call.
 * @param data what is handed over besides: for the transcript only
 * @return the error that was planned for it
 */
std::optional<int> Enter(const std::string& operation, const std::string& arguments = "",
                         const std::string& data = "");

void HandOut(const void* object);
void TakeBack(const void* object);

}  // namespace Fake
