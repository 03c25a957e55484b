#include "Television/StoredSecrets.h"

#include <algorithm>
#include <exception>

#include "AuthData/CAccessToken.h"
#include "AuthData/CAuthCode.h"
#include "AuthData/CJsonWebToken.h"
#include "Cli/Json.h"
#include "Files.h"
#include "Television/Stored.h"
#include "TvFolder.h"
#include "Util/SecurityUtil.h"

namespace Television {

namespace {

void AddTokens(std::vector<std::string>& secrets) {
    for (const char* alias : {InfoSyncUtil::ALIAS_ACCESS_TOKEN, InfoSyncUtil::ALIAS_JWT}) {
        const Json::Value users = ReadKey(alias).value;
        for (const std::string& user : users.getMemberNames()) {
            for (const char* name :
                 {CAccessToken::ACCESS_TOKEN, CAccessToken::REFRESH_TOKEN, CJsonWebToken::TOKEN}) {
                secrets.push_back(Cli::TextMember(users[user], name));
            }
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
    AddTokens(secrets);
    try {
        AddCodes(Files::Read(TvFolder::KeyPath(InfoSyncUtil::ALIAS_AUTH_CODE).value()), secrets);
    } catch (const std::exception&) {
        // There is none, or it cannot be read.
    }
    const auto isShort = [](const std::string& secret) { return secret.size() < SHORTEST; };
    secrets.erase(std::remove_if(secrets.begin(), secrets.end(), isShort), secrets.end());
    return secrets;
}

}  // namespace Television
