/** Planned misbehaviour: its kinds, and what is planned in the folder. */
#pragma once

#include <json/json.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Cloud/State/Folder.h"

namespace LocalCloud {

enum class FaultKind : std::size_t {
    DELAY,
    STATUS,
    BODY,
    CUT,
    CUT_HEADERS,
    DROP,
    DRIBBLE,
    ENDLESS,
    GARBAGE,
    CERTIFICATE,
    TLS,
    PLAIN,
    COUNT
};

enum class Hits {
    CONNECTION,  // from the start, before anything is asked
    REQUEST,     // which is not looked at: the fault takes the place of the answer
    ANSWER,      // on its way; the request is carried out
};

/** What a fault's value is. */
struct Operand {
    /** Its name; empty where there is none. */
    const char* word;
    bool (*fits)(const std::string& value);
    /** What it must be, in words. */
    std::string (*rule)();
};
extern const Operand NONE, DURATION, CODE, FILE_OF_BYTES, BYTES, FLAW, TLS_VERSION;

struct FaultRow {
    FaultKind kind;
    const char* name;
    Hits hits;
    const Operand* operand;
    /** The value where none is given; null where it must be. */
    const char* standard;
    const char* summary;
};

inline constexpr std::array<FaultRow, static_cast<std::size_t>(FaultKind::COUNT)> FAULTS = {{
    {FaultKind::DELAY, "delay", Hits::ANSWER, &DURATION, nullptr, "the answer, later"},
    {FaultKind::STATUS, "status", Hits::REQUEST, &CODE, nullptr, "this status, without a body"},
    {FaultKind::BODY, "body", Hits::REQUEST, &FILE_OF_BYTES, nullptr, "a file's bytes; --status CODE"},
    {FaultKind::CUT, "cut", Hits::ANSWER, &BYTES, nullptr, "the body's first bytes alone"},
    {FaultKind::CUT_HEADERS, "cut-headers", Hits::ANSWER, &BYTES, nullptr,
     "the first bytes alone, within the headers"},
    {FaultKind::DROP, "drop", Hits::ANSWER, &NONE, "", "the end of the connection, without a byte"},
    {FaultKind::DRIBBLE, "dribble", Hits::ANSWER, &DURATION, "0.1s", "a byte at a time"},
    {FaultKind::ENDLESS, "endless", Hits::ANSWER, &DURATION, "0s", "a body without an end"},
    {FaultKind::GARBAGE, "garbage", Hits::ANSWER, &NONE, "", "bytes that are not HTTP"},
    {FaultKind::CERTIFICATE, "certificate", Hits::CONNECTION, &FLAW, nullptr, "a wrong certificate"},
    {FaultKind::TLS, "tls", Hits::CONNECTION, &TLS_VERSION, nullptr, "no newer TLS than this"},
    {FaultKind::PLAIN, "plain", Hits::CONNECTION, &NONE, "", "plain HTTP where TLS is due"},
}};

constexpr const FaultRow& RowOf(FaultKind kind) {
    return FAULTS[static_cast<std::size_t>(kind)];
}

/** Of a table with a row for each kind: whether they are in the kinds' order. */
template <typename Table>
constexpr bool IsInOrder(const Table& table) {
    for (std::size_t i = 0; i < table.size(); ++i) {
        if (static_cast<std::size_t>(table[i].kind) != i) {
            return false;
        }
    }
    return table.size() == FAULTS.size();
}
static_assert(IsInOrder(FAULTS) && FAULTS.back().name != nullptr);

struct Fault {
    FaultKind kind = FaultKind::DROP;
    /** As the kind's operand has it. */
    std::string value;
    /** A request's name; empty for any. */
    std::string on;
    /** How many requests (or connections) pass unharmed first. */
    std::int64_t skip = 0;
    /** How many are hit then; 0 is all until the fault is cleared. */
    std::int64_t times = 1;
    /** Hits::REQUEST: the answer's. Each header is a whole line, NAME: VALUE. */
    int status = 200;
    std::vector<std::string> headers;

    /** The value, where it is one. */
    std::size_t Number() const;
    std::chrono::milliseconds Time() const;
    /** In few words. */
    std::string Describe() const;
};

/** With all that there is to know, as it is stored, and as --json shows it. */
Json::Value ToJson(const Fault& fault);

/**
 * What is planned, in state/faults.json, which is there as long as anything is. Each fault counts the
 * requests (or connections) that concern it from when it was planned. When several are due, the one planned
 * first is taken and the others wait. Safe from any thread and process; every operation throws
 * std::runtime_error that names the file where it cannot be read or written, and nothing is changed then.
 */
class FaultPlan {
public:
    explicit FaultPlan(const Folder& folder) : m_folder(folder), m_path(folder.StateFile("faults.json")) {}

    void Add(const Fault& fault);
    std::vector<Fault> List() const;
    /** @return how many there were */
    std::size_t Clear();

    /** What is due for a request of this name. */
    std::optional<Fault> TakeForRequest(const std::string& name) {
        return Take(false, name);
    }
    /** What is due for a new connection. */
    std::optional<Fault> TakeForConnection() {
        return Take(true, "");
    }
    /** Whether a fault waits for a new connection, so that old ones should not be kept. */
    bool WaitsForConnection() const;

private:
    std::optional<Fault> Take(bool connection, const std::string& name);
    void Store(const std::vector<Fault>& faults) const;

    Folder m_folder;
    std::string m_path;
};

}  // namespace LocalCloud
