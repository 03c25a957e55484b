/** The request that issues an access token from an authorisation code. */
#pragma once

#include "HttpMessage/CAuthServerHttpMessage.h"

class CAccessTokenHttpMessage : public CAuthServerHttpMessage {
public:
    CAccessTokenHttpMessage();
    ~CAccessTokenHttpMessage() override;

    /** The form, with its values as they are: the server expects them unescaped. */
    HttpBody BuildBody() override;
};
