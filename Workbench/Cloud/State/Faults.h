/** Planned misbehaviour. */
#pragma once

#include <json/json.h>

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace LocalCloud {

enum class FaultKind { Delay, Status, Body, Cut, Drop, Dribble, Endless, Garbage, Certificate, Tls, Plain };

struct Fault {
    FaultKind kind = FaultKind::Drop;
    /** An endpoint's name, or "any". */
    std::string on = "any";
    /** How many requests (or connections) pass unharmed first. */
    std::int64_t skip = 0;
    /** How many are hit then; 0 is all until the fault is cleared. */
    std::int64_t times = 1;
    /** Delay: before the answer. Dribble, Endless: from byte to byte; Endless does not wait at all with 0. */
    double seconds = 0;
    /** Status, Body: the answer's. */
    int status = 200;
    /** Added to the answer, each a whole line, NAME: VALUE. */
    std::vector<std::string> headers;
    std::string body;
    /** Cut: how much of the body, or of the header block, is sent. */
    std::size_t bytes = 0;
    bool withinHeaders = false;
    /** Certificate: one of CertificateFlaws(). */
    std::string flaw = "none";

    /** Whether it spoils a connection from the start, before anything is asked. */
    bool SpoilsConnection() const;
    /** Whether it takes the place of the answer, so that the request itself is never looked at. */
    bool ReplacesAnswer() const;
    /** In few words. */
    std::string Describe() const;
};

std::string NameOf(FaultKind kind);

/** What the commands send to the server and get from it. */
Json::Value ToJson(const Fault& fault);
/** @throws std::runtime_error for what ToJson() does not make */
Fault FaultFromJson(const Json::Value& value);

/**
 * Each fault counts the requests (or connections) that concern it from when it was planned. When several are
 * due, the one planned first is taken and the others wait. Safe from any thread.
 */
class FaultPlan {
public:
    void Add(const Fault& fault);
    std::vector<Fault> List() const;
    void Clear();

    /** What is due for a request to this endpoint. */
    std::optional<Fault> TakeForRequest(const std::string& endpoint) {
        return Take(false, endpoint);
    }
    /** What is due for a new connection. */
    std::optional<Fault> TakeForConnection() {
        return Take(true, "any");
    }
    /** Whether a fault waits for a new connection, so that old ones should not be kept. */
    bool WaitsForConnection() const;

private:
    std::optional<Fault> Take(bool connection, const std::string& endpoint);

    mutable std::mutex m_mutex;
    std::vector<Fault> m_faults;
};

}  // namespace LocalCloud
