/** The request that gets a new access token for a refresh token. */
#pragma once

#include "HttpMessage/CAuthServerHttpMessage.h"

class CRefreshTokenHttpMessage : public CAuthServerHttpMessage {
public:
    CRefreshTokenHttpMessage();
    ~CRefreshTokenHttpMessage() override;

    /** The form, with its values as they are: the server expects them unescaped. */
    HttpBody BuildBody() override;
};
