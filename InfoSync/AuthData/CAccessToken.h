/** The OAuth 2.0 tokens that the authorisation server issued, kept for each user of the set. */
#pragma once

#include <json/json.h>

#include <string>

#include "Util/SecurityUtil.h"

class CAccessToken {
public:
    // Members of a user's entry. Lifetimes are in seconds from the time of issue.
    static constexpr char ACCESS_TOKEN[] = "access_token";
    static constexpr char ACCESS_TOKEN_LIFETIME[] = "access_token_expires_in";
    static constexpr char REFRESH_TOKEN[] = "refresh_token";
    static constexpr char REFRESH_TOKEN_LIFETIME[] = "refresh_token_expires_in";
    static constexpr char ISSUED_TIME[] = "issued_time_in_second";
    static constexpr char USER_ID[] = "userId";

    CAccessToken();

    /** Every other operation works on this user's tokens. */
    void Init(const std::string& loginId);

    /** @throws CInfoSyncException when nothing is stored or it is neither a JSON object nor null; the tokens
     * held stay as they are */
    void ReadFromSecureStorage();

    /** The access token; empty when the user has none. @throws Json::Exception when it is no text */
    std::string GetAccessToken();

    /** The access token's lifetime is over; its last second still counts. */
    bool IsTokenExpired();
    bool IsRefreshTokenExpired();

    /**
     * Takes the authorisation server's answer over as the user's tokens, issued now, and stores it.
     * @throws std::exception; the tokens held are unchanged unless storing them is what failed
     */
    void ImportAccessToken(const std::string& token);
    void ParseAccessToken(const std::string& token);
    void WriteToSecureStorage();

    void Deinit();

    /** Whether anything is held, for any user. */
    bool HasTokens() const {
        return m_token.isObject();
    }

    /** Whether the user has an access token that can be sent. */
    bool HasUsableToken() const;

    /** As GetAccessToken, also the id: the one under which the servers know the user, not the login id. */
    std::string GetRefreshToken() const;
    std::string GetUserId() const;

private:
    /** The user's tokens, or a null value. */
    const Json::Value& GetRecord() const;

    Json::Value m_token;
    std::string m_loginId;
    std::string m_alias = InfoSyncUtil::ALIAS_ACCESS_TOKEN;
};
