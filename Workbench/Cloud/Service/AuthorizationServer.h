/** The authorisation server: OAuth 2.0 tokens for authorisation codes (with PKCE) and for refresh tokens. */
#pragma once

#include <httplib.h>

#include <map>
#include <string>
#include <vector>

#include "Cloud/Service/Answer.h"
#include "Cloud/Service/TokenStore.h"
#include "Cloud/Service/Users.h"

namespace LocalCloud {

/** What a sign-in service's code says of itself: "lc1." and, in base64url, the login id, the challenge and a
 * nonce. */
struct AuthorizationCode {
    std::string login;
    std::string challenge;

    /** @return nothing when the text is not such a code */
    static std::optional<AuthorizationCode> Decode(const std::string& text);
};

class AuthorizationServer {
public:
    AuthorizationServer(const Users& users, TokenStore& tokens, bool anyUser)
        : m_users(users), m_tokens(tokens), m_anyUser(anyUser) {}

    Answer IssueToken(const httplib::Request& request) const;
    Answer RefreshToken(const httplib::Request& request) const;

private:
    using Form = std::map<std::string, std::string>;

    Answer Granted(const std::string& login, const TokenPair& tokens, const std::string& decided) const;
    bool IsKnown(const std::string& login) const;

    const Users& m_users;
    TokenStore& m_tokens;
    bool m_anyUser;
};

}  // namespace LocalCloud
