/** The request that downloads the device records: a GET. */
#pragma once

#include "HttpMessage/CHttpMessage.h"

class CKCloudDataHttpMessage : public CHttpMessage {
public:
    explicit CKCloudDataHttpMessage(const std::string& apiPath);

    void BuildMessage(RequestType type) override;
    HttpHeader BuildHeader(int contentLength) override;
    void HandleHttpStatusCode(long statusCode) override;

private:
    std::string m_stagingBaseUrl;  // carried, never selected
    std::string m_baseUrl;
    std::string m_apiPath;
};
