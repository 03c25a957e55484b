#include "Television/StoredSecrets.h"

#include <ctime>
#include <exception>

#include "Cli/Json.h"
#include "Files.h"
#include "Television/Stored.h"
#include "TvFolder.h"
#include "Util/JsonUtil.h"
#include "Util/SecurityUtil.h"

namespace Television {

namespace {

// A shorter text is found in words that are none.
constexpr std::size_t SHORTEST = 8;

void Add(std::vector<std::string>& secrets, const std::string& secret) {
    if (secret.size() >= SHORTEST) {
        secrets.push_back(secret);
    }
}

/** What stands in the XML document's element of that name. */
std::string Element(const std::string& document, const std::string& name) {
    const std::string start = "<" + name + ">";
    const auto at = document.find(start);
    const auto end = document.find("</" + name + ">", at);
    return at == std::string::npos || end == std::string::npos
               ? ""
               : document.substr(at + start.size(), end - at - start.size());
}

}  // namespace

std::vector<std::string> StoredSecrets() {
    std::vector<std::string> secrets;
    for (const char* alias : {InfoSyncUtil::ALIAS_ACCESS_TOKEN, InfoSyncUtil::ALIAS_JWT}) {
        const Json::Value users = ReadKey(alias).value;
        for (const std::string& user : users.getMemberNames()) {
            for (const char* name : {"access_token", "refresh_token", "accessToken"}) {
                Add(secrets, Cli::TextMember(users[user], name));
            }
        }
    }
    try {
        const std::string code = Files::Read(TvFolder::KeyPath(InfoSyncUtil::ALIAS_AUTH_CODE).value());
        for (const char* name : {"auth_code", "code_verifier"}) {
            Add(secrets, Element(code, name));
        }
    } catch (const std::exception&) {
        // There is none, or it cannot be read and is left out.
    }
    return secrets;
}

std::string WithEverythingRunOut(const std::string& alias, const std::string& record) {
    constexpr Json::Int64 MILLISECONDS_PER_SECOND = 1000;
    try {
        const Json::Int64 now = std::time(nullptr);
        Json::Value users = InfoSyncUtil::ParseStoredObject(record);
        for (const std::string& user : users.getMemberNames()) {
            Json::Value& entry = users[user];
            if (entry.isObject() && alias == InfoSyncUtil::ALIAS_JWT) {
                entry["tokenExpireTimeSec"] = now;
            } else if (entry.isObject() && alias == InfoSyncUtil::ALIAS_SERVICE_ACTIVATION_INFO) {
                entry["expireTime"] = now * MILLISECONDS_PER_SECOND;
            } else if (entry.isObject()) {
                entry["issued_time_in_second"] = now;
                entry["access_token_expires_in"] = -1;
                entry["refresh_token_expires_in"] = -1;
            }
        }
        return InfoSyncUtil::WriteJson(users);
    } catch (const std::exception&) {
        return record;
    }
}

}  // namespace Television
