/** The request that activates the set with the cloud for a user: a POST with a JSON body. */
#pragma once

#include "HttpMessage/CHttpMessage.h"

class CKCloudActivateHttpMessage : public CHttpMessage {
public:
    explicit CKCloudActivateHttpMessage(const std::string& apiPath);

    void BuildMessage(RequestType type) override;
    HttpBody BuildBody() override;
    HttpHeader BuildHeader(int contentLength) override;
    void HandleHttpStatusCode(long statusCode) override;

private:
    std::string m_stagingBaseUrl;  // carried, never selected
    std::string m_baseUrl;
    std::string m_apiPath;
};
