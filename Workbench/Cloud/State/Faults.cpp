#include "Cloud/State/Faults.h"

#include <algorithm>
#include <array>
#include <sstream>
#include <stdexcept>

#include "Cloud/State/Crypto.h"
#include "Cloud/Util/Json.h"

namespace LocalCloud {

namespace {

// In the order of FaultKind.
constexpr std::array<const char*, 11> NAMES = {"delay",   "status",  "body",        "cut", "drop", "dribble",
                                               "endless", "garbage", "certificate", "tls", "plain"};

FaultKind KindNamed(const std::string& name) {
    const auto* found = std::find(NAMES.begin(), NAMES.end(), name);
    if (found == NAMES.end()) {
        throw std::runtime_error("there is no fault \"" + name + "\"");
    }
    return static_cast<FaultKind>(found - NAMES.begin());
}

}  // namespace

std::string NameOf(FaultKind kind) {
    return NAMES.at(static_cast<std::size_t>(kind));
}

bool Fault::SpoilsConnection() const {
    return kind == FaultKind::Certificate || kind == FaultKind::Tls || kind == FaultKind::Plain;
}

bool Fault::ReplacesAnswer() const {
    return kind == FaultKind::Status || kind == FaultKind::Body;
}

std::string Fault::Describe() const {
    std::ostringstream text;
    text << NameOf(kind);
    if (kind == FaultKind::Delay || kind == FaultKind::Dribble ||
        (kind == FaultKind::Endless && seconds > 0)) {
        text << " " << seconds << " s";
    } else if (kind == FaultKind::Status) {
        text << " " << status;
    } else if (kind == FaultKind::Body) {
        text << " of " << body.size() << " bytes, status " << status;
    } else if (kind == FaultKind::Cut) {
        text << " after " << bytes << " bytes of the " << (withinHeaders ? "headers" : "body");
    } else if (kind == FaultKind::Certificate) {
        text << " " << flaw;
    } else if (kind == FaultKind::Tls) {
        text << " 1.1";
    }
    return text.str();
}

Json::Value ToJson(const Fault& fault) {
    Json::Value value;
    value["kind"] = NameOf(fault.kind);
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
    value["certificate"] = fault.flaw;
    value["description"] = fault.Describe();
    return value;
}

Fault FaultFromJson(const Json::Value& value) {
    Fault fault;
    fault.kind = KindNamed(TextMember(value, "kind"));
    fault.on = value["on"].asString();
    fault.skip = value["skip"].asInt64();
    fault.times = value["times"].asInt64();
    fault.seconds = value["seconds"].asDouble();
    fault.status = value["status"].asInt();
    for (const auto& line : value["headers"]) {
        fault.headers.push_back(line.asString());
    }
    fault.body = Base64UrlDecode(value["body_base64url"].asString()).value_or("");
    fault.bytes = static_cast<std::size_t>(value["bytes"].asUInt64());
    fault.withinHeaders = value["within_headers"].asBool();
    fault.flaw = value["certificate"].asString();
    return fault;
}

void FaultPlan::Add(const Fault& fault) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_faults.push_back(fault);
}

std::vector<Fault> FaultPlan::List() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_faults;
}

void FaultPlan::Clear() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_faults.clear();
}

bool FaultPlan::WaitsForConnection() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return std::any_of(m_faults.begin(), m_faults.end(),
                       [](const Fault& fault) { return fault.SpoilsConnection(); });
}

std::optional<Fault> FaultPlan::Take(bool connection, const std::string& endpoint) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    auto due = m_faults.end();
    for (auto fault = m_faults.begin(); fault != m_faults.end(); ++fault) {
        if (fault->SpoilsConnection() != connection || (fault->on != "any" && fault->on != endpoint)) {
            continue;
        }
        if (fault->skip > 0) {
            --fault->skip;
        } else if (due == m_faults.end()) {
            due = fault;
        }
    }
    if (due == m_faults.end()) {
        return std::nullopt;
    }
    Fault taken = *due;
    if (due->times == 1) {
        m_faults.erase(due);
    } else if (due->times > 1) {
        --due->times;
    }
    return taken;
}

}  // namespace LocalCloud
