/** The HTTP client of the floor program. */
#pragma once

#include <curl/curl.h>

#include <cstddef>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "FloorTelevision.h"

namespace Floor {

/** One curl handle for the whole run, so that each server is connected to once. */
class Client {
public:
    explicit Client(const Television& tv) : m_curl(curl_easy_init(), &curl_easy_cleanup) {
        for (const std::string& entry : tv.List("http", "connect_to")) {
            m_connectTo = curl_slist_append(m_connectTo, entry.c_str());
        }
        Set(CURLOPT_CONNECT_TO, m_connectTo);
        const std::string ca = tv.Text("http", "ca_file");
        m_caFile = g_path_is_absolute(ca.c_str()) != FALSE ? ca : tv.folder + "/" + ca;
        Set(CURLOPT_CAINFO, m_caFile.c_str());
        Set(CURLOPT_HTTP_VERSION, CURL_HTTP_VERSION_1_1);
        Set(CURLOPT_NOSIGNAL, 1L);
        Set(
            CURLOPT_WRITEFUNCTION, +[](char* data, std::size_t size, std::size_t count, void* answer) {
                static_cast<std::string*>(answer)->append(data, size * count);
                return size * count;
            });
    }
    ~Client() {
        curl_slist_free_all(m_connectTo);
    }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    std::string Get(const std::string& url, const std::vector<std::string>& headers) {
        Set(CURLOPT_HTTPGET, 1L);
        return Perform(url, headers);
    }

    std::string Post(const std::string& url, const std::vector<std::string>& headers,
                     const std::string& body) {
        Set(CURLOPT_POST, 1L);
        Set(CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
        Set(CURLOPT_POSTFIELDS, body.c_str());
        return Perform(url, headers);
    }

private:
    template <typename Value>
    void Set(CURLoption option, Value value) {
        curl_easy_setopt(m_curl.get(), option, value);
    }

    std::string Perform(const std::string& url, const std::vector<std::string>& headers) {
        std::string answer;
        curl_slist* list = nullptr;
        for (const std::string& header : headers) {
            list = curl_slist_append(list, header.c_str());
        }
        Set(CURLOPT_URL, url.c_str());
        Set(CURLOPT_HTTPHEADER, list);
        Set(CURLOPT_WRITEDATA, &answer);
        const CURLcode result = curl_easy_perform(m_curl.get());
        curl_slist_free_all(list);
        if (result != CURLE_OK) {
            throw std::runtime_error(curl_easy_strerror(result));
        }
        return answer;
    }

    std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> m_curl;
    curl_slist* m_connectTo = nullptr;
    std::string m_caFile;
};

}  // namespace Floor
