/** Planned misbehaviour: its kinds, and what each of them does. */
#pragma once

#include <json/json.h>

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "Cloud/State/Certificates.h"
#include "Cloud/State/Folder.h"

namespace LocalCloud {

class Connection;
struct Fault;

/** What the value of a fault is. */
struct FaultValue {
    /** In a word; empty where it takes none. */
    const char* word;
    std::string rule;
    bool (*fits)(const std::string& value);

    static const FaultValue NOTHING, BYTES, CODE, DURATION, FILE, FLAW, VERSION;
};

/** Sends an answer in its way; the request was carried out. @return whether the connection can go on */
using Deliver = bool (*)(Connection& connection, const std::string& answer, const Fault& fault);
/** Makes the body of the answer to a request that is not looked at. */
using MakeBody = std::string (*)(const Fault& fault);
/** Begins a connection; null where nothing follows. */
using Begin = SslSession (*)(const TlsContexts& tls, int socket, const Fault& fault);

struct FaultKind {
    const char* name;
    const FaultValue& value;
    /** The value where none is given; null where it must be. */
    const char* standard;
    const char* summary;
    std::variant<Deliver, MakeBody, Begin> deed;
};

const std::vector<FaultKind>& FaultKinds();

/** A fault as it is stored, and as --json shows it. */
struct Fault {
    /** @throws std::runtime_error where there is no such kind, or it takes no such value */
    explicit Fault(Json::Value planned);

    /** Its "kind" and "value"; the request's name, or "any", that it is "on"; how many requests (or
     * connections) pass unharmed first ("skip"), and how many are hit then ("times"), where 0 is all until it
     * is cleared; of a kind that answers itself the "status" and the "headers", each a whole line, NAME:
     * VALUE. */
    Json::Value plan;
    /** Never null. */
    const FaultKind* kind = nullptr;

    bool HitsConnection() const {
        return std::holds_alternative<Begin>(kind->deed);
    }
    std::string Value() const {
        return plan["value"].asString();
    }
    /** The value, where it is one. */
    std::size_t Number() const;
    std::chrono::milliseconds Time() const;
    /** In few words. */
    std::string Describe() const;
};

inline constexpr char ANY_REQUEST[] = "any";

/** The session that an accepted socket is served with; null where the fault does without one, and the socket
 * is done with. */
SslSession BeginSession(const TlsContexts& tls, int socket, const std::optional<Fault>& fault);

/** Sends the answer, the way a fault wants it sent where there is one. @return whether the connection can go
 * on */
bool SendAnswer(Connection& connection, const std::string& answer, const std::optional<Fault>& fault);

/**
 * The faults that are still to come, in state/faults.json, which is there as long as any are. Each counts the
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

    /** What is due for a request of this name; for the empty one, for a new connection. */
    std::optional<Fault> Take(const std::string& request);
    /** Whether a fault waits for a new connection, so that old ones should not be kept. */
    bool WaitsForConnection() const;

private:
    void Store(const std::vector<Fault>& faults) const;

    Folder m_folder;
    std::string m_path;
};

}  // namespace LocalCloud
