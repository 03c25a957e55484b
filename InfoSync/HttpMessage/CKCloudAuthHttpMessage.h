/** The request for the cloud's application token: a POST without a body. */
#pragma once

#include "HttpMessage/CHttpMessage.h"

class CKCloudAuthHttpMessage : public CHttpMessage {
public:
    explicit CKCloudAuthHttpMessage(const std::string& apiPath);

    void BuildMessage(RequestType type) override;
    HttpHeader BuildHeader(int contentLength) override;
    void HandleHttpStatusCode(long statusCode) override;

private:
    std::string m_stagingBaseUrl;  // carried, never selected
    std::string m_baseUrl;
    std::string m_apiPath;
};
