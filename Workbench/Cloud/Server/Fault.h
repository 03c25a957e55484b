/** Planned misbehaviour: its kinds, what each of them does, and what is still to come. */
#pragma once

#include <json/json.h>

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

/** Sends an answer in its way; the request was carried out. @return whether the connection can go on */
using Deliver = bool (*)(Connection& connection, const std::string& answer, const Fault& fault);
/** Makes the body of the answer to a request that is not looked at. */
using MakeBody = std::string (*)(const Fault& fault);
/** What a new connection is served with; null where the socket is done with. */
using Begin = TlsContext (*)(const Folder& folder, int socket, const Fault& fault);

struct FaultValue {
    /** In a word; empty where there is none. */
    const char* word;
    std::string rule;
    bool (*fits)(const std::string& value);
};

struct FaultKind {
    const char* name;
    FaultValue value;
    /** The value where none is given; empty where it must be. */
    const char* standard;
    const char* summary;
    std::variant<Deliver, MakeBody, Begin> deed;
};

const std::vector<FaultKind>& FaultKinds();

/** A fault as it is stored, and as --json shows it. */
struct Fault {
    /** @throws Cli::UsageError where there is no such kind, or it takes no such value */
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
    /** Whether the value is a file's name. */
    bool HasFile() const {
        return kind->name == std::string("body");
    }
    /** In few words. */
    std::string Describe() const;
};

inline constexpr char ANY_REQUEST[] = "any";

// The faults that are still to come are in state/faults.json, which is there as long as any are. Each counts
// the requests (or connections) that concern it from when it was planned. Safe from any thread and process;
// every operation throws std::runtime_error that names the file where it cannot be read or written, and
// nothing is changed then.

std::vector<Fault> PlannedFaults(const Folder& folder);
void AddFault(const Folder& folder, const Fault& fault);
/** @return how many there were */
std::size_t ForgetFaults(const Folder& folder);

/** What is due for a request of this name; for the empty one, for a new connection. When several are, the one
 * planned first is taken and the others wait. */
std::optional<Fault> TakeFault(const Folder& folder, const std::string& request);

}  // namespace LocalCloud
