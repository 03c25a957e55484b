/** What all requests share: the message data, the HTTP client and the collection of the answer. */
#pragma once

#include <cstddef>
#include <memory>

#include "HttpMessage/IHttpMessage.h"

class NxCurlEasy;

class CHttpMessage : public IHttpMessage {
public:
    CHttpMessage() = default;
    ~CHttpMessage() override = default;
    CHttpMessage(const CHttpMessage&) = delete;
    CHttpMessage& operator=(const CHttpMessage&) = delete;

    void Init() override;
    void Reset() override;
    void AddHttpMessageData(const std::string& key, const std::string& value) override;
    void Request(RequestType type) override;
    std::string GetHttpResponse() override;
    std::map<std::string, std::string> GetHttpMessageData() override;

    // A derived class that leaves one of these alone has no body, no header or no status that fails.
    void BuildMessage(RequestType type) override;
    HttpBody BuildBody() override;
    HttpHeader BuildHeader(int contentLength) override;
    void HandleHttpStatusCode(long statusCode) override;

    /** Appends a piece of the answer's body to the text that userData points at; takes every byte. */
    static std::size_t WriteCallback(char* data, std::size_t size, std::size_t count, void* userData);

protected:
    /** The HTTP client, shared for the duration of a build. */
    std::shared_ptr<NxCurlEasy> GetHttpClient() const {
        return m_httpClient;
    }

    /** Where WriteCallback puts the answer's body. */
    void* GetResponseSink() {
        return &m_response;
    }

private:
    std::map<std::string, std::string> m_messageData;
    std::string m_response;
    std::string m_spare;  // part of the class; unused
    std::shared_ptr<NxCurlEasy> m_httpClient;
};
