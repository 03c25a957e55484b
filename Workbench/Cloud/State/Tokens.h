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

struct TokenPair {
    std::string access;
    std::string refresh;
};

/**
 * Keeps everything in tokens.json, and reads it there at each operation: a restarted server still knows it,
 * and what another process changes is seen. Safe from any thread and process. Every operation throws
 * std::runtime_error when the store cannot be read or written, and nothing was handed out then.
 *
 * An entry has its "token" (of an activation the device id), the "login" that it was given to, and in
 * "expires" the last second since the epoch in which it holds.
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

    /** The new entry; one of this kind with the same token that was given before is gone. */
    Json::Value Give(const Holding& kind, const std::string& login, const std::string& token) const;
    /** The same with a JSON Web Token (RFC 7519) that is signed with HMAC-SHA-256. */
    Json::Value GiveAppToken(const std::string& login) const;

    /** Null for a token of the kind that was never given, or too long ago. */
    Json::Value Find(const Holding& kind, const std::string& token) const;
    bool Holds(const Json::Value& entry) const;
    /** Whom a token of the kind was given to; nothing for one that is unknown or holds no longer. */
    std::optional<std::string> OwnerOf(const Holding& kind, const std::string& token) const;

    /** Ends now what the user holds of a kind and what would have held on. @return how many */
    std::uint64_t Expire(const Holding& kind, const std::string& login) const;

    /** Those that are stored, to be kept out of what is shown. */
    std::vector<std::string> Secrets() const;

    /** The cloud's own name for a user. It does not change, and does not show the login id. */
    std::string UserId(const std::string& login) const;
    /** The same user and television always get the same device id. */
    std::string DeviceId(const std::string& login, const std::string& cdid) const;

private:
    Json::Value Load() const;
    /** Changes what is stored, as one step for all who do. */
    void Edit(const std::function<void(Json::Value& state)>& change) const;
    Json::Value NewEntry(const Holding& kind, const std::string& login, const std::string& token) const;
    /** @param replaced the refresh token that is traded, if any */
    TokenPair AddPair(Json::Value& state, const std::string& login, const std::string& replaced) const;

    Folder m_folder;
    std::string m_path;
    Clock m_clock;
    std::string m_secret;
};

}  // namespace LocalCloud
