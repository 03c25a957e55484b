/** Planned misbehaviour: its kinds, and what each of them does. */
#pragma once

#include <json/json.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Cloud/State/Certificates.h"

namespace LocalCloud {

class Connection;
struct Fault;

/** Of its three deeds a kind has one. */
struct FaultKind {
    const char* name;
    /** What its value is, in a word; empty where it takes none. */
    const char* operand;
    /** What the value must be; empty where it is that. */
    std::string (*rule)(const std::string& value);
    /** The value where none is given; null where it must be. */
    const char* standard;
    const char* summary;

    /** Sends an answer in its way; the request was carried out. @return whether the connection can go on */
    bool (*deliver)(Connection& connection, const std::string& answer, const Fault& fault);
    /** Makes the body of the answer to a request that is not looked at. */
    std::string (*answer)(const Fault& fault);
    /** Begins a connection; null where nothing follows. */
    SslSession (*begin)(const TlsContexts& tls, int socket, const Fault& fault);
};

const std::vector<FaultKind>& FaultKinds();

/** What the value of a fault is that sends a file's bytes, or a status. */
inline constexpr char FILE_OPERAND[] = "FILE";
inline constexpr char CODE_OPERAND[] = "CODE";

struct Fault {
    /** Never null. */
    const FaultKind* kind;
    std::string value;
    /** A request's name; empty for any. */
    std::string on;
    /** How many requests (or connections) pass unharmed first. */
    std::int64_t skip = 0;
    /** How many are hit then; 0 is all until the fault is cleared. */
    std::int64_t times = 1;
    /** Of a kind that answers itself. Each header is a whole line, NAME: VALUE. */
    int status = 200;
    std::vector<std::string> headers;

    bool HitsConnection() const {
        return kind->begin != nullptr;
    }
    /** The value, where it is one. */
    std::size_t Number() const;
    std::chrono::milliseconds Time() const;
    /** In few words. */
    std::string Describe() const;
};

/** A fault of the kind of this name. @throws std::runtime_error where there is none */
Fault FaultOf(const std::string& name);

/** The session that an accepted socket is served with; null where the fault does without one, and the socket
 * is done with. */
SslSession BeginSession(const TlsContexts& tls, int socket, const std::optional<Fault>& fault);

/** Sends the answer, the way a fault wants it sent where there is one. @return whether the connection can go
 * on */
bool Deliver(Connection& connection, const std::string& answer, const std::optional<Fault>& fault);

}  // namespace LocalCloud
