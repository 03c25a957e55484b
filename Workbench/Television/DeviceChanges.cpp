#include "Television/DeviceChanges.h"

#include <map>

#include "Cli/Json.h"
#include "Cli/Text.h"

namespace Television {

namespace {

using Cli::Colour;

Json::Value Change(const char* kind, const std::string& id, const Device& device, const std::string& was) {
    Json::Value change;
    change["change"] = kind;
    change["id"] = id;
    change["name"] = device.name;
    change["address"] = device.address;
    change["was"] = was;
    change["users"] = Cli::JsonArray(device.users);
    return change;
}

std::string ChangeText(const Json::Value& change, const Cli::Style& style) {
    const auto text = [&change](const char* member) { return change[member].asString(); };
    const std::string kind = text("change");
    const Colour colour = kind == "removed" ? Colour::RED : kind == "added" ? Colour::GREEN : Colour::YELLOW;
    std::string users;
    for (const Json::Value& user : change["users"]) {
        users += (users.empty() ? "  users " : ", ") + user.asString();
    }
    return "  " + style(colour, Cli::Pad(kind, sizeof("renamed  ") - 1)) +
           Cli::Escape((kind == "renamed" ? text("was") + " -> " : "") + text("name") + "  " +
                       text("address") + (kind == "changed" ? users : "") + "  (" + text("id") + ")") +
           "\n";
}

}  // namespace

Json::Value Compare(const DeviceList& before, const DeviceList& after) {
    std::map<std::string, Json::Value> changes;
    for (const auto& [id, device] : before.devices) {
        changes[id] = Change("removed", id, device, device.name);
    }
    for (const auto& [id, device] : after.devices) {
        const auto old = before.devices.find(id);
        if (old == before.devices.end()) {
            changes[id] = Change("added", id, device, "");
        } else if (old->second == device) {
            changes.erase(id);
        } else {
            const std::string& was = old->second.name;
            changes[id] = Change(was == device.name ? "changed" : "renamed", id, device, was);
        }
    }
    return Cli::JsonArray(changes, [](const auto& change) { return change.second; });
}

std::string ChangesText(const DeviceList& after, const Json::Value& changes, const Cli::Style& style) {
    if (!after.problem.empty()) {
        return style(Colour::RED, Cli::EscapeLines(after.problem)) + "\n";
    }
    std::string text = "device list: " + Cli::Count(after.devices.size(), "device") +
                       (changes.empty() ? ", nothing changed" : "") + "\n";
    for (const Json::Value& change : changes) {
        text += ChangeText(change, style);
    }
    return text;
}

}  // namespace Television
