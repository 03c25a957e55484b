#include "Cloud/State/Faults.h"

#include <algorithm>
#include <filesystem>
#include <set>
#include <stdexcept>

#include "Cli/Json.h"
#include "Cli/Text.h"
#include "Cli/Time.h"
#include "Cloud/State/Crypto.h"
#include "Files.h"

namespace LocalCloud {

namespace {

constexpr char ANY[] = "any";

bool HitsConnection(const Fault& fault) {
    return RowOf(fault.kind).hits == Hits::CONNECTION;
}

/** @throws std::runtime_error for what ToJson() does not make */
Fault FromJson(const Json::Value& value) {
    const std::string name = Cli::StringMember(value, "kind");
    const auto* row =
        std::find_if(FAULTS.begin(), FAULTS.end(), [&](const FaultRow& each) { return each.name == name; });
    if (row == FAULTS.end()) {
        throw std::runtime_error("there is no fault \"" + name + "\"");
    }
    Fault fault;
    fault.kind = row->kind;
    fault.on = Cli::StringMember(value, "on");
    fault.on = fault.on == ANY ? "" : fault.on;
    fault.skip = Cli::IntegerMember(value, "skip");
    fault.times = Cli::IntegerMember(value, "times");
    fault.number = Cli::IntegerMember(value, "number");
    fault.text = Cli::StringMember(value, "text");
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

std::string Fault::Describe() const {
    const FaultRow& row = RowOf(kind);
    const std::string name = row.name;
    switch (row.operand) {
        case Operand::NONE:
            return name;
        case Operand::DURATION:
            return name + " " + Cli::DurationText(static_cast<double>(number) / 1000);
        case Operand::STATUS:
            return name + " " + std::to_string(status);
        case Operand::FILE:
            return name + " of " + Cli::Count(static_cast<std::uint64_t>(number), "byte") + ", status " +
                   std::to_string(status);
        case Operand::BYTES:
            return name + " after " + Cli::Count(static_cast<std::uint64_t>(number), "byte");
        case Operand::FLAW:
        case Operand::TLS_VERSION:
            return name + " " + text;
    }
    return name;
}

Json::Value ToJson(const Fault& fault) {
    Json::Value value;
    value["kind"] = RowOf(fault.kind).name;
    value["on"] = fault.on.empty() ? ANY : fault.on;
    value["skip"] = Json::Int64(fault.skip);
    value["times"] = Json::Int64(fault.times);
    value["number"] = Json::Int64(fault.number);
    value["text"] = fault.text;
    value["status"] = fault.status;
    value["headers"] = Json::arrayValue;
    for (const auto& line : fault.headers) {
        value["headers"].append(line);
    }
    value["description"] = fault.Describe();
    return value;
}

void FaultPlan::Add(const Fault& fault) {
    const Cli::FileLock oneAtATime = m_folder.LockForEdit();
    std::vector<Fault> faults = Load(m_path);
    faults.push_back(fault);
    if (RowOf(fault.kind).operand == Operand::FILE) {
        faults.back().text = Hex(Sha256(fault.body));
        faults.back().number = static_cast<std::int64_t>(fault.body.size());
        Files::Replace(BodyFile(faults.back().text), fault.body);
    }
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
    return std::any_of(faults.begin(), faults.end(), HitsConnection);
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
        if (HitsConnection(*fault) != connection || (!fault->on.empty() && fault->on != name)) {
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
        if (RowOf(due->kind).operand == Operand::FILE) {
            taken->body = Files::Read(BodyFile(due->text));
        }
        counted = counted || due->times > 0;
        if (due->times == 1) {
            faults.erase(due);
        } else if (due->times > 1) {
            --due->times;
        }
    }
    if (counted) {
        Store(faults);
    }
    return taken;
}

void FaultPlan::Store(const std::vector<Fault>& faults) const {
    Json::Value stored;
    std::set<std::string> bodies;
    for (const Fault& fault : faults) {
        stored["faults"].append(ToJson(fault));
        bodies.insert(fault.text);
    }
    faults.empty() ? static_cast<void>(Files::Remove(m_path))
                   : Files::Replace(m_path, Cli::EditableJson(stored));
    std::error_code missing;
    for (const auto& body : std::filesystem::directory_iterator(BodyFile(""), missing)) {
        if (bodies.count(body.path().filename()) == 0) {
            std::filesystem::remove(body.path());
        }
    }
}

}  // namespace LocalCloud
