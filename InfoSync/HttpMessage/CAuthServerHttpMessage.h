/** A request to the OAuth 2.0 authorisation server: a form-encoded POST. Derived classes give the form. */
#pragma once

#include "HttpMessage/CHttpMessage.h"

class CAuthServerHttpMessage : public CHttpMessage {
public:
    CAuthServerHttpMessage();
    ~CAuthServerHttpMessage() override;

    /** The URL is the path in the entry "auth_api"; the HTTP client knows the server that it belongs to. */
    void BuildMessage(RequestType type) override;
    HttpBody BuildBody() override;
    HttpHeader BuildHeader(int contentLength) override;
    void HandleHttpStatusCode(long statusCode) override;
};
