/** The authorisation server: OAuth 2.0 tokens for authorisation codes (with PKCE) and for refresh tokens. */
#pragma once

#include <httplib.h>

#include <string>

#include "Cloud/Service/Answer.h"
#include "Cloud/Service/TokenStore.h"
#include "Cloud/Service/Users.h"

namespace LocalCloud {

class AuthorizationServer {
public:
    AuthorizationServer(const Users& users, TokenStore& tokens) : m_users(users), m_tokens(tokens) {}

    Answer IssueToken(const httplib::Request& request) const;
    Answer RefreshToken(const httplib::Request& request) const;

private:
    Answer Granted(const std::string& login, const TokenPair& tokens, const std::string& decided) const;

    const Users& m_users;
    TokenStore& m_tokens;
};

}  // namespace LocalCloud
