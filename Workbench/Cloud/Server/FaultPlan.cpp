#include "Cloud/Server/FaultPlan.h"

#include <algorithm>
#include <stdexcept>

#include "Cli/Json.h"
#include "Files.h"

namespace LocalCloud {

namespace {

bool Concerns(const Fault& fault, const std::string& request) {
    const std::string on = Cli::StringMember(fault.plan, "on");
    return fault.HitsConnection() == request.empty() && (on == ANY_REQUEST || on == request);
}

/** Takes one off the number of this name, where it is not 0. @return whether it took the last */
bool CountDown(Fault& fault, const char* name) {
    const std::int64_t number = fault.plan[name].asInt64();
    fault.plan[name] = Json::Int64(std::max<std::int64_t>(number - 1, 0));
    return number == 1;
}

}  // namespace

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
            faults.emplace_back(value);
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
    std::optional<Fault> taken;
    std::vector<Fault> left;
    for (Fault& fault : List()) {
        bool isUsedUp = false;
        if (Concerns(fault, request) && fault.plan["skip"] != 0) {
            CountDown(fault, "skip");
        } else if (Concerns(fault, request) && !taken) {
            taken = fault;
            isUsedUp = CountDown(fault, "times");
        }
        if (!isUsedUp) {
            left.push_back(fault);
        }
    }
    Store(left);
    return taken;
}

void FaultPlan::Store(const std::vector<Fault>& faults) const {
    Json::Value stored;
    for (const Fault& fault : faults) {
        stored["faults"].append(fault.plan);
    }
    faults.empty() ? static_cast<void>(Files::Remove(m_path))
                   : Files::Replace(m_path, Cli::EditableJson(stored));
}

}  // namespace LocalCloud
