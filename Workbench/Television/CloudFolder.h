/** What a television has to know of a local cloud: where it listens and whose certificates it uses. */
#pragma once

#include <json/json.h>

#include <string>

#include "Television/Masker.h"

namespace Television {

struct CloudAddress {
    std::string folder;
    std::string caFile;
    /** 0 when the cloud does not answer. */
    int port = 0;
};

/** $INFOSYNC_CLOUD_DIR, or infosync-cloud in the user's XDG state folder. */
std::string DefaultCloudFolder();

/** @throws std::runtime_error, saying how to make one, when there is no cloud in the folder */
CloudAddress FindCloud(const std::string& folder);

/** The local cloud that tv.ini leads to. */
struct Connection {
    /** Empty where the television is not connected to a local cloud. */
    std::string folder;
    bool answers = false;
    /** In one line, with what helps. */
    std::string words;
};

/** Tries the cloud, which may take some seconds where it hangs. */
Connection FindConnection();

/** What that cloud was asked and answered, as infosync-cloud tells it; a text that says why it tells nothing.
 */
Json::Value ReadExchanges(const Masker& masker, bool withSecrets);

}  // namespace Television
