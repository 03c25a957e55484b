#include "Television/StoredSecrets.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "AuthData/CAccessToken.h"
#include "AuthData/CAuthCode.h"
#include "AuthData/CJsonWebToken.h"
#include "Cli/Json.h"
#include "Files.h"
#include "TvFolder.h"
#include "Util/JsonUtil.h"
#include "Util/SecurityUtil.h"

namespace Television {

namespace {

/** Also those of a document that is too heavy for the service. */
void AddTokens(const std::string& document, std::vector<std::string>& secrets) {
    const Json::Value users = InfoSyncUtil::ParseStoredObject(document);
    for (const std::string& user : users.getMemberNames()) {
        for (const char* name :
             {CAccessToken::ACCESS_TOKEN, CAccessToken::REFRESH_TOKEN, CJsonWebToken::TOKEN}) {
            secrets.push_back(Cli::TextMember(users[user], name));
        }
    }
}

/** Also those of a document that the service would not take. */
void AddCodes(const std::string& document, std::vector<std::string>& secrets) {
    for (const char* name : {CAuthCode::AUTH_CODE, CAuthCode::CODE_VERIFIER}) {
        const std::string tag = std::string("<") + name + ">";
        for (auto at = document.find(tag); at != std::string::npos; at = document.find(tag, at + 1)) {
            const std::string text = document.substr(at + tag.size());
            secrets.push_back(text.substr(0, text.find('<')));
        }
    }
}

}  // namespace

std::vector<std::string> StoredSecrets() {
    constexpr std::size_t SHORTEST = 8;
    std::vector<std::string> secrets;
    for (const auto& [alias, add] : {std::pair(InfoSyncUtil::ALIAS_ACCESS_TOKEN, &AddTokens),
                                     {InfoSyncUtil::ALIAS_JWT, &AddTokens},
                                     {InfoSyncUtil::ALIAS_AUTH_CODE, &AddCodes}}) {
        try {
            add(Files::Read(TvFolder::KeyPath(alias).value()), secrets);
        } catch (const std::exception&) {
            continue;  // there is none, or it cannot be read
        }
    }
    const auto isShort = [](const std::string& secret) { return secret.size() < SHORTEST; };
    secrets.erase(std::remove_if(secrets.begin(), secrets.end(), isShort), secrets.end());
    return secrets;
}

}  // namespace Television
