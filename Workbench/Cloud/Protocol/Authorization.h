/** The authorisation server: OAuth 2.0 tokens for authorisation codes (with PKCE) and for refresh tokens. */
#pragma once

#include <httplib.h>

#include "Cloud/Protocol/Answer.h"
#include "Cloud/State/Tokens.h"
#include "Cloud/State/Users.h"

namespace LocalCloud {

Answer IssueToken(const Users& users, TokenStore& tokens, const httplib::Request& request);
Answer RefreshToken(const Users& users, TokenStore& tokens, const httplib::Request& request);

}  // namespace LocalCloud
