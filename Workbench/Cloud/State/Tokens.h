/** What the cloud has handed out: codes that were used, tokens and activations. */
#pragma once

#include <json/json.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Cloud/State/Folder.h"

namespace LocalCloud {

/** Seconds since the epoch. */
using Clock = std::function<std::int64_t()>;

/** An access token and the refresh token that came with it; lifetimes in seconds from now. */
struct TokenPair {
    std::string accessToken;
    std::string refreshToken;
    std::int64_t accessLifetime = 0;
    std::int64_t refreshLifetime = 0;
};

/** A token, device id or the like, and the last second (since the epoch) in which it holds. */
struct Ticket {
    std::string token;
    std::int64_t expires = 0;
};

/**
 * Keeps everything in the folder, and reads it there at each operation: a restarted server still knows it,
 * and what another process changes is seen. Safe from any thread and process. Every operation throws
 * std::runtime_error when the store cannot be read or written, and nothing was handed out then.
 */
class TokenStore {
public:
    /** @throws std::runtime_error when the stored state is damaged */
    TokenStore(const Folder& folder, Clock clock);

    /** @return false when the code was used before */
    bool UseCode(const std::string& code) const;

    TokenPair Issue(const std::string& login) const;

    /**
     * Trades a refresh token for new tokens. The traded one stays valid until the new one is used for the
     * first time, so that a client that never got the answer can ask again.
     * @return nothing for a token that is unknown, expired or replaced
     */
    std::optional<TokenPair> Refresh(const std::string& refreshToken) const;

    /** Gives the user a token of a kind; the same text that was given before holds no longer as it did. */
    Ticket Give(const Holding& kind, const std::string& token, const std::string& login) const;

    /** Whom a token of the kind was given to; nothing for one that is unknown or holds no longer. */
    std::optional<std::string> OwnerOf(const Holding& kind, const std::string& token) const;

    /** Ends now what the user holds of a kind and what would have held on. @return how many */
    std::int64_t Expire(const Holding& kind, const std::string& login) const;

    /** The cloud's own name for a user. It does not change, and does not show the login id. */
    std::string UserId(const std::string& login) const;
    /** The same user and television always get the same device id. */
    std::string DeviceId(const std::string& login, const std::string& cdid) const;

private:
    // On what tokens.json holds:
    bool Holds(const Json::Value& ticket) const;
    /** The entry in which the token still holds, or null. */
    Json::Value* Find(Json::Value& state, const Holding& kind, const std::string& token) const;
    Ticket Add(Json::Value& state, const Holding& kind, const std::string& token,
               const std::string& login) const;
    /** Makes two tokens, and adds the access token; the refresh token has its place in a grant. */
    TokenPair AddTokens(Json::Value& state, const std::string& login, Json::Value& refresh) const;

    Folder m_folder;
    std::string m_path;
    Clock m_clock;
    std::string m_secret;
};

/** Those that are stored, to be kept out of what is shown. @throws std::runtime_error as the store does */
std::vector<std::string> StoredTokens(const Folder& folder);

/** What the cloud reads in an application token of its own: a JSON Web Token (RFC 7519), signed with
 * HMAC-SHA-256. */
struct AppToken {
    std::string login;
    /** What the token store knows the token by. */
    std::string id;
};

/** @param expires in seconds since the epoch, for whoever looks @throws std::runtime_error */
std::string SignAppToken(const AppToken& token, std::int64_t expires, const std::string& secret);

/** A token that this secret signed, whether it has expired or not; nothing for any other text. */
std::optional<AppToken> VerifyAppToken(const std::string& text, const std::string& secret);

}  // namespace LocalCloud
