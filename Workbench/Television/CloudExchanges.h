/** What the television's local cloud was asked, and what it answered. */
#pragma once

#include <json/json.h>

#include "Television/Masker.h"

namespace Television {

/** As infosync-cloud tells it; a text that says why where it tells nothing. */
Json::Value ReadExchanges(const Masker& masker, bool withSecrets);

}  // namespace Television
