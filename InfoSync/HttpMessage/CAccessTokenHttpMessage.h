/** The request that issues an access token from an authorisation code. */
#pragma once

#include "HttpMessage/CAuthServerHttpMessage.h"

class CAccessTokenHttpMessage : public CAuthServerHttpMessage {
public:
    CAccessTokenHttpMessage();
    ~CAccessTokenHttpMessage() override;

    /** The form, with its values as they are: they are made of characters that need no escaping. */
    HttpBody BuildBody() override;
};
