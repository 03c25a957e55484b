#include "Cloud/State/Faults.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <stdexcept>

#include "Cli/Json.h"
#include "Cli/Text.h"
#include "Cli/Time.h"
#include "Cloud/State/Certificates.h"
#include "Files.h"

namespace LocalCloud {

namespace {

constexpr char ANY[] = "any";

template <std::uint64_t LOWEST, std::uint64_t HIGHEST>
bool IsNumber(const std::string& value) {
    constexpr std::size_t MOST_DIGITS = 10;
    const bool isNumber = !value.empty() && value.size() <= MOST_DIGITS &&
                          value.find_first_not_of("0123456789") == std::string::npos;
    const std::uint64_t number = std::strtoull(value.c_str(), nullptr, 10);
    return isNumber && number >= LOWEST && number <= HIGHEST;
}

bool IsPause(const std::string& value) {
    constexpr double LONGEST = 86400;
    return Cli::ParseDuration(value).value_or(LONGEST + 1) <= LONGEST;
}

bool IsFlaw(const std::string& value) {
    const auto flaws = CertificateFlaws();
    return std::find(flaws.begin(), flaws.end(), value) != flaws.end();
}

/** @throws std::runtime_error for what ToJson() does not make */
Fault FromJson(const Json::Value& value) {
    const std::string name = Cli::StringMember(value, "kind");
    const auto* row =
        std::find_if(FAULTS.begin(), FAULTS.end(), [&](const FaultRow& each) { return each.name == name; });
    Fault fault;
    fault.value = Cli::StringMember(value, "value");
    if (row == FAULTS.end() || !row->operand->fits(fault.value)) {
        throw std::runtime_error("there is no fault \"" + name + " " + fault.value + "\"");
    }
    fault.kind = row->kind;
    fault.on = Cli::StringMember(value, "on");
    fault.on = fault.on == ANY ? "" : fault.on;
    fault.skip = Cli::IntegerMember(value, "skip");
    fault.times = Cli::IntegerMember(value, "times");
    fault.status = static_cast<int>(Cli::IntegerMember(value, "status"));
    for (const auto& line : value["headers"]) {
        fault.headers.push_back(line.asString());
    }
    return fault;
}

std::vector<Fault> Load(const std::string& path) {
    std::vector<Fault> faults;
    const auto text = Files::ReadIfThere(path);
    try {
        const Json::Value stored = text ? Cli::ParseObject(*text, path) : Json::Value();
        for (const auto& value : stored["faults"]) {
            faults.push_back(FromJson(value));
        }
    } catch (const std::exception& damage) {
        throw std::runtime_error(std::string("faults.json: ") + damage.what() +
                                 "; remove it: nothing is planned then: " + path);
    }
    return faults;
}

}  // namespace

const Operand NONE = {"", [](const std::string& value) { return value.empty(); },
                      [] { return std::string("none: it takes no value"); }};
const Operand DURATION = {"DURATION", &IsPause,
                          [] { return std::string("a time up to a day, such as 0.5s, 2s or 10m"); }};
const Operand CODE = {"CODE", &IsNumber<200, 9999>, [] { return std::string("a number from 200 to 9999"); }};
const Operand FILE_OF_BYTES = {"FILE", [](const std::string& path) { return !path.empty(); },
                               [] { return std::string("a file"); }};
const Operand BYTES = {"BYTES", &IsNumber<0, 1'000'000'000>,
                       [] { return std::string("a number from 0 to 1000000000"); }};
const Operand FLAW = {"FLAW", &IsFlaw, [] { return "one of " + Cli::Join(CertificateFlaws(), ", "); }};
const Operand TLS_VERSION = {"1.1", [](const std::string& value) { return value == "1.1"; },
                             [] { return std::string("1.1"); }};

std::size_t Fault::Number() const {
    return std::strtoull(value.c_str(), nullptr, 10);
}

std::chrono::milliseconds Fault::Time() const {
    return std::chrono::milliseconds(std::llround(Cli::ParseDuration(value).value_or(0) * 1000));
}

std::string Fault::Describe() const {
    return RowOf(kind).name + (value.empty() ? "" : " " + value) +
           (kind == FaultKind::BODY ? ", status " + std::to_string(status) : "");
}

Json::Value ToJson(const Fault& fault) {
    Json::Value value;
    value["kind"] = RowOf(fault.kind).name;
    value["value"] = fault.value;
    value["on"] = fault.on.empty() ? ANY : fault.on;
    value["skip"] = Json::Int64(fault.skip);
    value["times"] = Json::Int64(fault.times);
    value["status"] = fault.status;
    value["headers"] = Json::arrayValue;
    for (const auto& line : fault.headers) {
        value["headers"].append(line);
    }
    return value;
}

void FaultPlan::Add(const Fault& fault) {
    const Cli::FileLock oneAtATime = m_folder.LockForEdit();
    std::vector<Fault> faults = Load(m_path);
    faults.push_back(fault);
    Store(faults);
}

std::vector<Fault> FaultPlan::List() const {
    return Load(m_path);
}

std::size_t FaultPlan::Clear() {
    const Cli::FileLock oneAtATime = m_folder.LockForEdit();
    const std::size_t count = Load(m_path).size();
    Store({});
    return count;
}

bool FaultPlan::WaitsForConnection() const {
    const std::vector<Fault> faults = Load(m_path);
    return std::any_of(faults.begin(), faults.end(),
                       [](const Fault& fault) { return RowOf(fault.kind).hits == Hits::CONNECTION; });
}

std::optional<Fault> FaultPlan::Take(bool connection, const std::string& name) {
    if (Load(m_path).empty()) {
        return std::nullopt;
    }
    const Cli::FileLock oneAtATime = m_folder.LockForEdit();
    std::vector<Fault> faults = Load(m_path);
    auto due = faults.end();
    bool counted = false;
    for (auto fault = faults.begin(); fault != faults.end(); ++fault) {
        const bool hitsConnection = RowOf(fault->kind).hits == Hits::CONNECTION;
        if (hitsConnection != connection || (!fault->on.empty() && fault->on != name)) {
            continue;
        }
        if (fault->skip > 0) {
            --fault->skip;
            counted = true;
        } else if (due == faults.end()) {
            due = fault;
        }
    }
    std::optional<Fault> taken;
    if (due != faults.end()) {
        taken = *due;
        counted = counted || due->times > 0;
        if (due->times > 0 && --due->times == 0) {
            faults.erase(due);
        }
    }
    if (counted) {
        Store(faults);
    }
    return taken;
}

void FaultPlan::Store(const std::vector<Fault>& faults) const {
    Json::Value stored;
    for (const Fault& fault : faults) {
        stored["faults"].append(ToJson(fault));
    }
    faults.empty() ? static_cast<void>(Files::Remove(m_path))
                   : Files::Replace(m_path, Cli::EditableJson(stored));
}

}  // namespace LocalCloud
