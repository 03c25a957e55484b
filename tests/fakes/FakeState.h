/** What the fakes share behind FakePlatform.h. */
#pragma once

#include <deque>
#include <set>
#include <string>
#include <vector>

#include "FakePlatform.h"

namespace Fake {

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
