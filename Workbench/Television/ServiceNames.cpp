#include "Television/ServiceNames.h"

#include <glib.h>
#include <json/json.h>

#include <algorithm>
#include <map>
#include <vector>

#include "AuthData/CDeviceInfo.h"
#include "Cli/Text.h"
#include "Util/CommonUtil.h"

namespace Television {

namespace {

/** Whether they would name an audio sink if they were written as the service reads them. */
bool IsMisspeltSink(const std::string& uuids) {
    std::string spelt = Cli::Taken(g_ascii_strdown(uuids.c_str(), -1));
    spelt.erase(std::remove(spelt.begin(), spelt.end(), ' '), spelt.end());
    Json::Value record;
    record["uuids"] = spelt;
    return CDeviceInfo::IsAudioSink(record);
}

}  // namespace

std::string ServiceName(const std::string& uuid) {
    static const std::map<std::string, std::string> names = {
        {"1101", "Serial Port"},
        {"1105", "Object Push"},
        {"1106", "File Transfer"},
        {"1108", "Headset"},
        {"110a", "Audio Source"},
        {"110b", "Audio Sink"},
        {"110c", "Remote Control Target"},
        {"110d", "Audio Distribution"},
        {"110e", "Remote Control"},
        {"110f", "Remote Control Controller"},
        {"1112", "Headset Gateway"},
        {"111e", "Hands-Free"},
        {"111f", "Hands-Free Gateway"},
        {"1124", "Human Interface Device"},
        {"1131", "Headset HS"},
        {"1200", "PnP Information"},
        {"1203", "Generic Audio"},
        {"1800", "Generic Access"},
        {"1801", "Generic Attribute"},
        {"180a", "Device Information"},
        {"180f", "Battery"},
        {"1812", "Human Interface Device"},
        {"1843", "Audio Input Control"},
        {"1844", "Volume Control"},
        {"184e", "Audio Stream Control"},
        {"1850", "Published Audio Capabilities"},
    };
    constexpr char START[] = "0000";
    constexpr char BASE[] = "-0000-1000-8000-00805f9b34fb";
    const bool isShort = uuid.size() == 36 && uuid.compare(0, sizeof(START) - 1, START) == 0 &&
                         uuid.compare(8, std::string::npos, BASE) == 0;
    if (!isShort) {
        return uuid;
    }
    const std::string number = uuid.substr(4, 4);
    const auto name = names.find(number);
    return name == names.end() ? number : number + " " + name->second;
}

std::string NoSinkWords(const std::string& uuids) {
    if (IsMisspeltSink(uuids)) {
        return "its audio sink is not written as the service reads it: in lower case, separated by commas "
               "alone";
    }
    std::vector<std::string> names;
    for (const std::string& uuid : CommonUtil::SplitString(uuids)) {
        names.push_back(ServiceName(uuid));
    }
    return names.empty() ? "it offers no services"
                         : "no audio sink among its services: " + Cli::Join(names, ", ");
}

}  // namespace Television
