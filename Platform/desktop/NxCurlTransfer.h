/** One request as it was asked for, and the libcurl handle that sends it. */
#pragma once

#include <NxCurl.h>
#include <curl/curl.h>

#include <array>
#include <cstdint>
#include <list>
#include <memory>
#include <optional>
#include <string>

#include "TvIni.h"

class NxCurlEasy::Transfer {
public:
    struct Request {
        std::string url;
        std::list<std::string> headers;
        bool isPost = false;
        std::string body;
        std::optional<long> bodySize;
        NxCurlWriteFunction write = nullptr;
        void* writeData = nullptr;
        long connectSeconds = 30;
        long stallSeconds = 60;
        /** Why the request must not be sent; empty when it may. */
        std::string refusal;
    };

    /** @throws std::bad_alloc */
    Transfer();

    Request request;
    /** Of the last whole answer; 0 when there is none. */
    long responseCode = 0;

    /** Keeps the request from being sent. @return false */
    bool Refuse(const std::string& reason);

    /** @throws std::runtime_error when no whole answer came */
    void Send();

private:
    using Handle = std::unique_ptr<CURL, decltype(&curl_easy_cleanup)>;
    using List = std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)>;

    template <typename Value>
    void Set(CURLoption option, Value value);
    void SetTarget(const TvIni& ini, const List& connectTo);
    void SetTrust(const TvIni& ini);
    void SetMessage(const List& headers);
    void Perform();
    /** @throws std::runtime_error when the answer is too long */
    void CheckLength() const;
    static std::size_t OnHeader(char* data, std::size_t size, std::size_t count, void* transfer);
    static std::size_t OnBody(char* data, std::size_t size, std::size_t count, void* transfer);

    Handle m_handle;
    /** What came of the answer so far, and what may come. */
    std::int64_t m_headerBytes = 0;
    bool m_sawEndOfHeaders = false;
    std::int64_t m_bodyBytes = 0;
    std::int64_t m_mostBodyBytes = 0;
};
