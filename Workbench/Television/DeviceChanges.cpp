#include "Television/DeviceChanges.h"

#include "Cli/Json.h"
#include "Cli/Text.h"

namespace Television {

namespace {

using Cli::Colour;

std::string ChangeText(const std::string& id, const DeviceChange& change, const Cli::Style& style) {
    const auto& [kind, device, formerName] = change;
    const Colour colour = kind == "removed" ? Colour::RED : kind == "added" ? Colour::GREEN : Colour::YELLOW;
    const std::string before = kind == "renamed" ? formerName + " -> " : "";
    const std::string after = kind == "changed" ? "  users " + Cli::Join(device.users, ", ") : "";
    return "  " + style(colour, Cli::Pad(kind, sizeof("renamed  ") - 1)) +
           Cli::Escape(before + device.name + "  " + device.address + after + "  (" + id + ")") + "\n";
}

}  // namespace

DeviceChanges Compare(const DeviceList& before, const DeviceList& after) {
    DeviceChanges changes;
    for (const auto& [id, device] : before.devices) {
        changes[id] = {"removed", device, device.name};
    }
    for (const auto& [id, device] : after.devices) {
        const auto old = before.devices.find(id);
        if (old == before.devices.end()) {
            changes[id] = {"added", device, ""};
        } else if (old->second == device) {
            changes.erase(id);
        } else {
            const std::string& name = old->second.name;
            changes[id] = {name == device.name ? "changed" : "renamed", device, name};
        }
    }
    return changes;
}

Json::Value ToJson(const DeviceChanges& changes) {
    return Cli::JsonArray(changes, [](const auto& entry) {
        const auto& [id, change] = entry;
        Json::Value json;
        json["change"] = change.kind;
        json["id"] = id;
        json["name"] = change.device.name;
        json["address"] = change.device.address;
        return json;
    });
}

std::string ChangesText(const DeviceList& after, const DeviceChanges& changes, const Cli::Style& style) {
    if (!after.problem.empty()) {
        return style(Colour::RED, Cli::EscapeLines(after.problem)) + "\n";
    }
    std::string text = "device list: " + Cli::Count(after.devices.size(), "device") +
                       (changes.empty() ? ", nothing changed" : "") + "\n";
    for (const auto& [id, change] : changes) {
        text += ChangeText(id, change, style);
    }
    return text;
}

}  // namespace Television
