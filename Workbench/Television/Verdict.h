/** Why a device is on the set's list, or is not: the service's own rules, asked without a run. */
#pragma once

#include <json/json.h>

#include <string>
#include <vector>

#include "Television/DeviceList.h"
#include "Television/Records.h"

namespace Television {

/** What the list has to do with one record. */
struct Verdict {
    enum class Listed { YES, NO, FOR_OTHERS, UNKNOWN };

    std::string user;
    std::string id;
    std::string name;
    std::string address;
    /** As the record has them, those of the Bluetooth SIG by their short number and name. */
    std::vector<std::string> services;
    Listed listed = Listed::NO;
    /** The users whom the device is listed for. */
    std::vector<std::string> listedFor;
    /** In a few words, always the same for one reason: "no audio sink". */
    std::string why;
    /** In sentences, with what helps. */
    std::string words;
};

/** "yes", "no", "others" or "?" */
const char* ListedWord(Verdict::Listed listed);

/** One for each record of the user, in their order. Asks the Bluetooth adapter; writes nothing. */
std::vector<Verdict> Judge(const UserRecords& user, const DeviceList& list);

Json::Value ToJson(const Verdict& verdict);

}  // namespace Television
