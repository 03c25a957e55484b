#include "Cloud/Server/FaultPlan.h"

#include <algorithm>
#include <stdexcept>

#include "Cli/Json.h"
#include "Files.h"

namespace LocalCloud {

namespace {

constexpr char ANY[] = "any";

/** @throws std::runtime_error for what ToJson() does not make */
Fault FromJson(const Json::Value& value) {
    Fault fault = FaultOf(Cli::StringMember(value, "kind"));
    fault.value = Cli::StringMember(value, "value");
    if (const std::string rule = fault.kind->rule(fault.value); !rule.empty()) {
        throw std::runtime_error("the value of " + fault.Describe() + " must be " + rule);
    }
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

}  // namespace

Json::Value ToJson(const Fault& fault) {
    Json::Value value;
    value["kind"] = fault.kind->name;
    value["value"] = fault.value;
    value["on"] = fault.on.empty() ? ANY : fault.on;
    value["skip"] = Json::Int64(fault.skip);
    value["times"] = Json::Int64(fault.times);
    value["status"] = fault.status;
    value["headers"] = Cli::JsonArray(fault.headers);
    return value;
}

void FaultPlan::Add(const Fault& fault) {
    const Cli::FileLock oneAtATime = m_folder.LockForEdit();
    std::vector<Fault> faults = List();
    faults.push_back(fault);
    Store(faults);
}

std::vector<Fault> FaultPlan::List() const {
    std::vector<Fault> faults;
    const auto text = Files::ReadIfThere(m_path);
    try {
        const Json::Value stored = text ? Cli::ParseObject(*text, m_path) : Json::Value();
        for (const auto& value : stored["faults"]) {
            faults.push_back(FromJson(value));
        }
    } catch (const std::exception& damage) {
        throw std::runtime_error(std::string("faults.json: ") + damage.what() +
                                 "; remove it: nothing is planned then: " + m_path);
    }
    return faults;
}

std::size_t FaultPlan::Clear() {
    const Cli::FileLock oneAtATime = m_folder.LockForEdit();
    const std::size_t count = List().size();
    Store({});
    return count;
}

bool FaultPlan::WaitsForConnection() const {
    const std::vector<Fault> faults = List();
    return std::any_of(faults.begin(), faults.end(),
                       [](const Fault& fault) { return fault.HitsConnection(); });
}

std::optional<Fault> FaultPlan::Take(const std::string& request) {
    if (List().empty()) {
        return std::nullopt;
    }
    const Cli::FileLock oneAtATime = m_folder.LockForEdit();
    std::vector<Fault> faults = List();
    auto due = faults.end();
    bool counted = false;
    for (auto fault = faults.begin(); fault != faults.end(); ++fault) {
        if (fault->HitsConnection() != request.empty() || (!fault->on.empty() && fault->on != request)) {
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
