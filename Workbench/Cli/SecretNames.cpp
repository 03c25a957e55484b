#include "Cli/SecretNames.h"

#include <glib.h>

#include <algorithm>
#include <cstddef>

namespace Cli {

namespace {

template <std::size_t Size>
bool IsOneOf(const char* const (&names)[Size], std::string_view name) {
    return std::any_of(names, names + Size, [name](const char* known) {
        return std::string_view(known).size() == name.size() &&
               g_ascii_strncasecmp(known, name.data(), name.size()) == 0;
    });
}

}  // namespace

bool IsSecretName(std::string_view name) {
    constexpr const char* NAMES[] = {"access_token",  "refresh_token", "accessToken",       "auth_code",
                                     "code_verifier", "Authorization", "x-kc-access-token", "authCode"};
    return IsOneOf(NAMES, name);
}

bool IsHarmlessName(std::string_view name) {
    constexpr const char* NAMES[] = {"userId",         "token_type",
                                     "scope",          "stat",
                                     "error",          "error_description",
                                     "rmsg",           "dvcId",
                                     "record_id",      "name",
                                     "address",        "uuids",
                                     "users",          "cdid",
                                     "deviceType",     "model",
                                     "osVersion",      "build",
                                     "client",         "platfom",
                                     "packageVersion", "packageVersionCode",
                                     "client_id",      "auth_server_url",
                                     "auth_api",       "kap_auth_domain",
                                     "kap_api_domain", "x-kc-uid",
                                     "x-kc-app-id",    "x-kc-dvc-id",
                                     "table_ver",      "changed_after",
                                     "coldStartable",  "version",
                                     "encoding",       "User-Agent",
                                     "Content-Type",   "Package-Name",
                                     "Host",           "Client-OS-Verseion"};
    return IsOneOf(NAMES, name);
}

}  // namespace Cli
