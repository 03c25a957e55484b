#include "Television/DeviceChanges.h"

#include <map>
#include <tuple>
#include <utility>

#include "Cli/Text.h"

namespace Television {

namespace {

std::string ChangeText(const DeviceChange& change, const Cli::Style& style) {
    const bool isRemoved = change.kind == "removed";
    const Device& device = isRemoved ? change.before : change.after;
    const Cli::Colour colour = isRemoved                ? Cli::Colour::RED
                               : change.kind == "added" ? Cli::Colour::GREEN
                                                        : Cli::Colour::YELLOW;
    const std::string before = change.kind == "renamed" ? Cli::Escape(change.before.name) + " -> " : "";
    const std::string after =
        change.kind == "changed" ? "  users " + Cli::Escape(Cli::Join(device.users, ", ")) : "";
    return "  " + style(colour, Cli::Pad(change.kind, sizeof("renamed  ") - 1)) + before +
           Cli::Escape(device.name) + "  " + Cli::Escape(device.address) + after + "  (" +
           Cli::Escape(change.id) + ")\n";
}

}  // namespace

std::vector<DeviceChange> Compare(const DeviceList& before, const DeviceList& after) {
    std::map<std::string, DeviceChange> changes;
    for (const auto& [id, device] : before.devices) {
        changes[id] = {"removed", id, device, {}};
    }
    for (const auto& [id, device] : after.devices) {
        DeviceChange& change = changes[id];
        const Device& old = change.before;
        change.kind = change.id.empty()         ? "added"
                      : old.name != device.name ? "renamed"
                      : std::tie(old.address, old.users, old.deletedOnTv) !=
                              std::tie(device.address, device.users, device.deletedOnTv)
                          ? "changed"
                          : "";
        change.id = id;
        change.after = device;
    }
    std::vector<DeviceChange> sorted;
    for (auto& [id, change] : changes) {
        if (!change.kind.empty()) {
            sorted.push_back(std::move(change));
        }
    }
    return sorted;
}

Json::Value ToJson(const std::vector<DeviceChange>& changes) {
    Json::Value all(Json::arrayValue);
    for (const DeviceChange& change : changes) {
        const Device& device = change.kind == "removed" ? change.before : change.after;
        Json::Value json;
        json["change"] = change.kind;
        json["id"] = change.id;
        json["name"] = device.name;
        json["address"] = device.address;
        all.append(std::move(json));
    }
    return all;
}

std::string ChangesText(const DeviceList& after, const std::vector<DeviceChange>& changes,
                        const Cli::Style& style) {
    if (!after.problem.empty()) {
        return style(Cli::Colour::RED, after.problem) + "\n";
    }
    std::string text = "device list: " + Cli::Count(after.devices.size(), "device") +
                       (changes.empty() ? ", nothing changed" : "") + "\n";
    for (const DeviceChange& change : changes) {
        text += ChangeText(change, style);
    }
    return text;
}

}  // namespace Television
