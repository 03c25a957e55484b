/** One planned misbehaviour. */
#pragma once

#include <json/json.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "Cloud/Util/Certificates.h"

namespace LocalCloud {

/** Of what a fault may be given. */
inline constexpr double LONGEST_PAUSE = 86400;
inline constexpr int LOWEST_STATUS = 200;
inline constexpr int HIGHEST_STATUS = 9999;
inline constexpr std::int64_t LARGEST_COUNT = 1'000'000'000;

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
    int status = 0;
    /** Added to the answer, each a whole header line. */
    std::vector<std::string> headers;
    std::string body;
    /** Cut: how much of the body, or of the header block, is sent. */
    std::size_t bytes = 0;
    bool withinHeaders = false;
    CertificateFlaw flaw = CertificateFlaw::Nothing;

    /** Whether it spoils a connection from the start, before anything is asked. */
    bool SpoilsConnection() const;
    /** Whether it takes the place of the answer, so that the request itself is never looked at. */
    bool ReplacesAnswer() const;
    /** In few words. */
    std::string Describe() const;
};

/** The flaws' names, as used in JSON and on the command line. */
const std::vector<std::string>& CertificateFlawNames();

Json::Value ToJson(const Fault& fault);

/** @throws UsageError that says which member makes no sense */
Fault FaultFromJson(const Json::Value& value);

}  // namespace LocalCloud
