#include "FakePlatform.h"

#include <glib.h>

#include <algorithm>
#include <cstdlib>

namespace Fake {

State& TheState() {
    static State state;
    return state;
}

void Misused(const std::string& what) {
    g_printerr("the fake platform is misused: %s\n", what.c_str());
    std::abort();
}

void Note(const std::string& what) {
    if (TheState().keep != Keep::EVERYTHING) {
        return;
    }
    for (const char c : what) {
        TheState().transcript.append(c == '\n' ? "\n    " : std::string(1, c));
    }
    TheState().transcript += '\n';
}

std::optional<int> Enter(const std::string& operation, const std::string& arguments,
                         const std::string& data) {
    TheState().calls.emplace_back(operation, arguments);
    Note("> " + operation + (arguments.empty() ? "" : " ") + arguments + (data.empty() ? "" : " ") + data);
    std::optional<int> error;
    auto& failures = TheState().failures;
    for (auto& failure : failures) {
        if (failure.operation == operation && --failure.callsUntil == 0) {
            error = failure.error;
        }
    }
    failures.erase(std::remove_if(failures.begin(), failures.end(),
                                  [](const PlannedFailure& failure) { return failure.callsUntil == 0; }),
                   failures.end());
    return error;
}

void HandOut(const void* object) {
    TheState().handedOut.insert(object);
}

void TakeBack(const void* object) {
    if (TheState().handedOut.erase(object) == 0) {
        Misused("what is given back was not handed out, or was given back before");
    }
}

void Reset(Keep keep) {
    g_log_set_always_fatal(static_cast<GLogLevelFlags>(G_LOG_LEVEL_CRITICAL | G_LOG_LEVEL_WARNING));
    TheState() = State();
    TheState().keep = keep;
}

std::vector<std::string> Leftovers() {
    std::vector<std::string> left;
    for (const auto& failure : TheState().failures) {
        left.push_back("a failure of " + failure.operation);
    }
    left.insert(left.end(), TheState().answers.size(), "an HTTP answer");
    left.insert(left.end(), TheState().handedOut.size(), "an object of the platform");
    if (g_main_context_pending(nullptr) == TRUE) {
        left.emplace_back("a source in the main loop");
    }
    return left;
}

Television& Tv() {
    return TheState().tv;
}

void FailCall(const std::string& operation, int n, int error) {
    if (n < 1) {
        Misused("there is no such call");
    }
    TheState().failures.push_back({operation, n, error});
}

std::vector<std::string> Calls(std::initializer_list<const char*> operations) {
    std::vector<std::string> calls;
    for (const auto& [operation, arguments] : TheState().calls) {
        if (operations.size() == 0 ||
            std::find(operations.begin(), operations.end(), operation) != operations.end()) {
            calls.push_back(operation);
            if (!arguments.empty()) {
                calls.back().append(" ").append(arguments);
            }
        }
    }
    return calls;
}

const std::string& Transcript() {
    return TheState().transcript;
}

const std::vector<LogEntry>& Log() {
    return TheState().log;
}

std::vector<std::string> Logged(int priority) {
    std::vector<std::string> messages;
    for (const auto& entry : TheState().log) {
        if (entry.priority == priority) {
            messages.push_back(entry.message);
        }
    }
    return messages;
}

const std::vector<AuthCodeRequest>& AuthCodeRequests() {
    return TheState().authCodeRequests;
}

}  // namespace Fake
