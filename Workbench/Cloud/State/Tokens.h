/** What the cloud has handed out: codes that were used, tokens and activations. */
#pragma once

#include <json/json.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Cloud/State/Folder.h"

namespace LocalCloud {

/** Milliseconds since the epoch. */
using Clock = std::function<std::int64_t()>;
std::int64_t SystemTime();

/** A token, device id or the like, the last second (since the epoch) in which it holds, and how many seconds
 * that is after it was given. */
struct Ticket {
    std::string token;
    std::int64_t expires = 0;
    std::int64_t lifetime = 0;
};

/** An access token and the refresh token that came with it. */
struct TokenPair {
    Ticket access;
    Ticket refresh;
};

/** What the cloud remembers of something that it gave. */
struct Given {
    std::string login;
    /** Whether it may still be used. */
    bool holds;
};

/**
 * Keeps everything in the folder, and reads it there at each operation: a restarted server still knows it,
 * and what another process changes is seen. Safe from any thread and process. Every operation throws
 * std::runtime_error when the store cannot be read or written, and nothing was handed out then.
 */
class TokenStore {
public:
    /** @throws std::runtime_error when the stored state is damaged */
    explicit TokenStore(const Folder& folder, Clock clock = &SystemTime);

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
    /** Gives an application token, a JSON Web Token (RFC 7519) that is signed with HMAC-SHA-256. */
    Ticket GiveAppToken(const std::string& login) const;

    /** Nothing for a token of the kind that was never given, or too long ago. */
    std::optional<Given> Find(const Holding& kind, const std::string& token) const;
    /** Whom a token of the kind was given to; nothing for one that is unknown or holds no longer. */
    std::optional<std::string> OwnerOf(const Holding& kind, const std::string& token) const;

    /** Ends now what the user holds of a kind and what would have held on. @return how many */
    std::int64_t Expire(const Holding& kind, const std::string& login) const;

    /** Those that are stored, to be kept out of what is shown. */
    std::vector<std::string> Secrets() const;

    /** The cloud's own name for a user. It does not change, and does not show the login id. */
    std::string UserId(const std::string& login) const;
    /** The same user and television always get the same device id. */
    std::string DeviceId(const std::string& login, const std::string& cdid) const;

private:
    /** Changes what tokens.json holds, as one step for all who do, unless there is nothing to change. @return
     * whether there was */
    bool Edit(const std::function<bool(Json::Value& state)>& change) const;

    std::int64_t Now() const {
        return m_clock() / 1000;
    }
    bool Holds(const Json::Value& entry) const;
    // To what tokens.json holds:
    Ticket Add(Json::Value& state, const Holding& kind, const std::string& token,
               const std::string& login) const;
    /** @param replaced the refresh token that is traded, if any */
    TokenPair AddPair(Json::Value& state, const std::string& login, const std::string& replaced) const;

    Folder m_folder;
    std::string m_path;
    Clock m_clock;
    std::string m_secret;
};

}  // namespace LocalCloud
