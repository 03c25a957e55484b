/** The cloud's application tokens (JSON Web Tokens), kept for each user of the set with the answers that
 * brought them. */
#pragma once

#include <json/json.h>

#include <string>

#include "Util/SecurityUtil.h"

class CJsonWebToken {
public:
    // Members of a user's entry; the token ends at that second since the epoch.
    static constexpr char TOKEN[] = "accessToken";
    static constexpr char EXPIRE_TIME[] = "tokenExpireTimeSec";

    /** Loads what is stored; what cannot be read is logged and counts as no token. */
    void Init(const std::string& loginId);

    /** @throws CInfoSyncException when nothing is stored or it is neither a JSON object nor null; what is
     * held stays as it is */
    void ReadFromSecureStorage();

    /** Whether the user's token holds now. */
    bool IsValid();

    /** Takes the cloud's answer over as the user's token and stores it. @throws CInfoSyncException */
    void ImportResponse(Json::Value response);

    void WriteJWTToSecureStorage(const std::string& data);

    /** The token, to be sent as it is; empty when there is none. @throws Json::Exception when it is no text
     */
    std::string GetToken() const;

    void Deinit();

private:
    Json::Value m_root;
    std::string m_key;
    std::string m_alias = InfoSyncUtil::ALIAS_JWT;
};
