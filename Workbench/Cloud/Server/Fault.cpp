#include "Cloud/Server/Fault.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <sstream>
#include <utility>

#include "Cloud/Server/Endpoint.h"
#include "Cloud/Util/Crypto.h"
#include "Cloud/Util/Errors.h"
#include "Cloud/Util/Json.h"

namespace LocalCloud {

namespace {

constexpr int STATUS_OK = 200;

constexpr std::array<std::pair<FaultKind, const char*>, 11> KINDS = {{{FaultKind::Delay, "delay"},
                                                                      {FaultKind::Status, "status"},
                                                                      {FaultKind::Body, "body"},
                                                                      {FaultKind::Cut, "cut"},
                                                                      {FaultKind::Drop, "drop"},
                                                                      {FaultKind::Dribble, "dribble"},
                                                                      {FaultKind::Endless, "endless"},
                                                                      {FaultKind::Garbage, "garbage"},
                                                                      {FaultKind::Certificate, "certificate"},
                                                                      {FaultKind::Tls, "tls"},
                                                                      {FaultKind::Plain, "plain"}}};

// In the order of CertificateFlaw.
constexpr std::array<const char*, 7> FLAWS = {
    "none", "wrong-host", "expired", "not-yet-valid", "self-signed", "unknown-authority", "client-only"};

std::string KindName(FaultKind kind) {
    return std::find_if(KINDS.begin(), KINDS.end(), [kind](const auto& entry) { return entry.first == kind; })
        ->second;
}

FaultKind KindNamed(const std::string& name) {
    const auto* found =
        std::find_if(KINDS.begin(), KINDS.end(), [&](const auto& entry) { return name == entry.second; });
    if (found == KINDS.end()) {
        throw UsageError("there is no fault \"" + name + "\"");
    }
    return found->first;
}

Json::Int64 Bounded(const Json::Value& value, const char* name, Json::Int64 lowest, Json::Int64 highest) {
    const Json::Int64 number = IntegerMember(value, name);
    if (number < lowest || number > highest) {
        throw UsageError(std::string(name) + " must be from " + std::to_string(lowest) + " to " +
                         std::to_string(highest));
    }
    return number;
}

bool IsEndpointName(const std::string& name) {
    return name == "any" || std::any_of(ENDPOINTS.begin(), ENDPOINTS.end(),
                                        [&name](const Endpoint& endpoint) { return name == endpoint.name; });
}

std::vector<std::string> ReadHeaders(const Json::Value& lines) {
    std::vector<std::string> headers;
    for (const auto& line : lines) {
        const std::string text = line.isString() ? line.asString() : std::string();
        const auto colon = text.find(": ");
        if (colon == 0 || colon == std::string::npos || text.find_first_of("\r\n") != std::string::npos) {
            throw UsageError("a header must be one line, NAME: VALUE");
        }
        headers.push_back(text);
    }
    return headers;
}

std::string Seconds(double seconds) {
    std::ostringstream text;
    text << seconds << " s";
    return text.str();
}

}  // namespace

bool Fault::SpoilsConnection() const {
    return kind == FaultKind::Certificate || kind == FaultKind::Tls || kind == FaultKind::Plain;
}

bool Fault::ReplacesAnswer() const {
    return kind == FaultKind::Status || kind == FaultKind::Body;
}

std::string Fault::Describe() const {
    std::string name = KindName(kind);
    switch (kind) {
        case FaultKind::Delay:
        case FaultKind::Dribble:
            return name + " " + Seconds(seconds);
        case FaultKind::Endless:
            return seconds > 0 ? name + " " + Seconds(seconds) : name;
        case FaultKind::Status:
            return name + " " + std::to_string(status);
        case FaultKind::Body:
            return name + " of " + std::to_string(body.size()) + " bytes, status " + std::to_string(status);
        case FaultKind::Cut:
            return name + " after " + std::to_string(bytes) + " bytes of the " +
                   (withinHeaders ? "headers" : "body");
        case FaultKind::Certificate:
            return name + " " + FLAWS.at(static_cast<std::size_t>(flaw));
        case FaultKind::Tls:
            return name + " 1.1";
        case FaultKind::Drop:
        case FaultKind::Garbage:
        case FaultKind::Plain:
            break;
    }
    return name;
}

const std::vector<std::string>& CertificateFlawNames() {
    static const std::vector<std::string> names(FLAWS.begin() + 1, FLAWS.end());
    return names;
}

Json::Value ToJson(const Fault& fault) {
    Json::Value value;
    value["kind"] = KindName(fault.kind);
    value["on"] = fault.on;
    value["skip"] = Json::Int64(fault.skip);
    value["times"] = Json::Int64(fault.times);
    value["seconds"] = fault.seconds;
    value["status"] = fault.status;
    value["headers"] = Json::arrayValue;
    for (const auto& line : fault.headers) {
        value["headers"].append(line);
    }
    // Bytes of any kind, which a JSON text cannot hold.
    value["body_base64url"] = Base64UrlEncode(fault.body);
    value["bytes"] = Json::UInt64(fault.bytes);
    value["within_headers"] = fault.withinHeaders;
    value["certificate"] = FLAWS.at(static_cast<std::size_t>(fault.flaw));
    value["description"] = fault.Describe();
    return value;
}

Fault FaultFromJson(const Json::Value& value) {
    Fault fault;
    fault.kind = KindNamed(TextMember(value, "kind"));
    fault.on = TextMember(value, "on");
    if (!IsEndpointName(fault.on)) {
        throw UsageError("there is no endpoint \"" + fault.on + "\"");
    }
    if (fault.SpoilsConnection() && fault.on != "any") {
        throw UsageError("a connection comes before the request: this fault cannot be for one endpoint only");
    }
    fault.skip = Bounded(value, "skip", 0, LARGEST_COUNT);
    fault.times = Bounded(value, "times", 0, LARGEST_COUNT);
    fault.seconds = value["seconds"].isNumeric() ? value["seconds"].asDouble() : 0;
    if (!(fault.seconds >= 0 && fault.seconds <= LONGEST_PAUSE)) {
        throw UsageError("a pause must be from 0 seconds to a day");
    }
    fault.status = fault.ReplacesAnswer()
                       ? static_cast<int>(Bounded(value, "status", LOWEST_STATUS, HIGHEST_STATUS))
                       : STATUS_OK;
    fault.headers = ReadHeaders(value["headers"]);
    fault.body = Base64UrlDecode(TextMember(value, "body_base64url")).value_or("");
    fault.bytes = static_cast<std::size_t>(Bounded(value, "bytes", 0, LARGEST_COUNT));
    fault.withinHeaders = value["within_headers"].isBool() && value["within_headers"].asBool();
    const auto* flaw = std::find(FLAWS.begin(), FLAWS.end(), TextMember(value, "certificate"));
    if (fault.kind == FaultKind::Certificate && (flaw == FLAWS.end() || flaw == FLAWS.begin())) {
        throw UsageError("there is no certificate \"" + TextMember(value, "certificate") + "\"");
    }
    fault.flaw =
        flaw == FLAWS.end() ? CertificateFlaw::Nothing : static_cast<CertificateFlaw>(flaw - FLAWS.begin());
    return fault;
}

}  // namespace LocalCloud
