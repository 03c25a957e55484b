/** What the cloud has handed out: tokens and activations. */
#pragma once

#include <json/json.h>

#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>

#include "Cloud/Service/Folder.h"
#include "Cloud/Service/Settings.h"

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

/** What makes an application token that the store knows. */
struct AppTicket {
    std::string id;
    std::int64_t issuedAt = 0;  // seconds since the epoch
    std::int64_t expiresAt = 0;
};

struct Activation {
    std::string deviceId;
    std::int64_t expiresAt = 0;  // seconds since the epoch
};

/**
 * Keeps everything in the folder, so that a restarted server still knows it. Safe from any thread. Every
 * operation throws CloudError when the store cannot be written, and nothing was handed out then.
 */
class TokenStore {
public:
    /** @throws CloudError when the stored state is damaged */
    TokenStore(const Folder& folder, Clock clock);

    /** @return false when the code was used before */
    bool UseCode(const std::string& code);

    TokenPair Issue(const std::string& login);

    /**
     * Trades a refresh token for new tokens. The traded one stays valid until the new one is used for the
     * first time, so that a client that never got the answer can ask again.
     * @return nothing for a token that is unknown, expired or replaced
     */
    std::optional<TokenPair> Refresh(const std::string& refreshToken);

    /** Whom a refresh token that is still valid was issued to. */
    std::optional<std::string> RefreshTokenOwner(const std::string& token);
    /** Whom an access token that is still valid was issued to. */
    std::optional<std::string> AccessTokenOwner(const std::string& token);

    /** The same user and television always get the same device id. */
    Activation Activate(const std::string& login, const std::string& cdid);
    /** Whether the device id was given to this user and its activation still lasts. */
    bool IsActivated(const std::string& login, const std::string& deviceId);

    AppTicket IssueAppTicket(const std::string& login);
    /** Whether the ticket was issued here and still holds. */
    bool IsValidAppTicket(const std::string& id);

    /**
     * Ends now what the user holds of a kind (one of Settings::LifetimeNames()) and what would have held on.
     * @return how many
     */
    std::int64_t Expire(const std::string& kind, const std::string& login);

    /** The cloud's own name for a user. It does not change, and does not show the login id. */
    std::string UserId(const std::string& login) const;

private:
    Json::Value* FindGrant(Json::Value& state, const std::string& refreshToken) const;
    TokenPair AddTokens(Json::Value& state, const std::string& login) const;
    void Commit(Json::Value state);

    std::string m_path;
    Settings m_settings;
    Clock m_clock;
    std::string m_secret;
    std::mutex m_mutex;
    Json::Value m_state;
};

}  // namespace LocalCloud
