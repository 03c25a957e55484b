/** Planned misbehaviour: its kinds, and what is planned in the folder. */
#pragma once

#include <json/json.h>

#include <array>
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

/** What VALUE is on the command line. */
enum class Operand { NONE, DURATION, STATUS, FILE, BYTES, FLAW, TLS_VERSION };

struct FaultRow {
    FaultKind kind;
    const char* name;
    Hits hits;
    Operand operand;
    /** The value where none is given; null where it must be. */
    const char* standard;
    const char* summary;
};

inline constexpr std::array<FaultRow, static_cast<std::size_t>(FaultKind::COUNT)> FAULTS = {{
    {FaultKind::DELAY, "delay", Hits::ANSWER, Operand::DURATION, nullptr, "the answer, later"},
    {FaultKind::STATUS, "status", Hits::REQUEST, Operand::STATUS, nullptr, "this status, without a body"},
    {FaultKind::BODY, "body", Hits::REQUEST, Operand::FILE, nullptr, "a file's bytes; --status CODE"},
    {FaultKind::CUT, "cut", Hits::ANSWER, Operand::BYTES, nullptr, "the body's first bytes alone"},
    {FaultKind::CUT_HEADERS, "cut-headers", Hits::ANSWER, Operand::BYTES, nullptr,
     "the first bytes alone, within the headers"},
    {FaultKind::DROP, "drop", Hits::ANSWER, Operand::NONE, "", "the end of the connection, without a byte"},
    {FaultKind::DRIBBLE, "dribble", Hits::ANSWER, Operand::DURATION, "0.1s", "a byte at a time"},
    {FaultKind::ENDLESS, "endless", Hits::ANSWER, Operand::DURATION, "0s", "a body without an end"},
    {FaultKind::GARBAGE, "garbage", Hits::ANSWER, Operand::NONE, "", "bytes that are not HTTP"},
    {FaultKind::CERTIFICATE, "certificate", Hits::CONNECTION, Operand::FLAW, nullptr, "a wrong certificate"},
    {FaultKind::TLS, "tls", Hits::CONNECTION, Operand::TLS_VERSION, nullptr, "no newer TLS than this"},
    {FaultKind::PLAIN, "plain", Hits::CONNECTION, Operand::NONE, "", "plain HTTP where TLS is due"},
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
    /** A request's name; empty for any. */
    std::string on;
    /** How many requests (or connections) pass unharmed first. */
    std::int64_t skip = 0;
    /** How many are hit then; 0 is all until the fault is cleared. */
    std::int64_t times = 1;
    /** DURATION: in milliseconds; BYTES; FILE: how many bytes it has. */
    std::int64_t number = 0;
    /** FLAW and TLS_VERSION: the word; FILE: the name of its copy in state/bodies/. */
    std::string text;
    /** FILE: the bytes, of a fault that is to be planned or was taken. */
    std::string body;
    /** Hits::REQUEST: the answer's. Each header is a whole line, NAME: VALUE. */
    int status = 200;
    std::vector<std::string> headers;

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
    std::string BodyFile(const std::string& name) const {
        return m_folder.StateFile("bodies/" + name);
    }
    /** Removes the bodies that no fault needs any more, too. */
    void Store(const std::vector<Fault>& faults) const;

    Folder m_folder;
    std::string m_path;
};

}  // namespace LocalCloud
