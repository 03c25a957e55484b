#include "Television/ServiceNames.h"

#include <glib.h>

#include <algorithm>

#include "AuthData/CDeviceInfo.h"
#include "Cli/Text.h"
#include "Util/CommonUtil.h"

namespace Television {

std::vector<std::string> ServicesOf(const std::string& uuids) {
    std::vector<std::string> services = CommonUtil::SplitString(uuids);
    std::replace(services.begin(), services.end(), std::string(CDeviceInfo::AUDIO_SINK_UUID),
                 std::string("audio sink"));
    return services;
}

std::string NoSinkWords(const std::string& uuids) {
    const std::string lower = Cli::Taken(g_ascii_strdown(uuids.c_str(), -1));
    if (lower.find(CDeviceInfo::AUDIO_SINK_UUID) != std::string::npos) {
        return "its audio sink is not written as the service reads it: in lower case, separated by commas "
               "alone";
    }
    return uuids.empty() ? "it offers no services"
                         : "no audio sink among its services: " + Cli::Join(ServicesOf(uuids), ", ");
}

}  // namespace Television
