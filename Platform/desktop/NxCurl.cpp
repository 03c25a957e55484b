#include <NxCurl.h>
#include <curl/curl.h>
#include <dlog.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <optional>
#include <stdexcept>
#include <utility>

#include "GateSite.h"
#include "TransferWatch.h"
#include "TvFolder.h"
#include "TvIni.h"

namespace {

constexpr std::chrono::seconds CONNECT_TIMEOUT{30};
constexpr std::chrono::seconds STALL_TIMEOUT{60};

/** A list of lines as libcurl takes it. */
class CurlList {
public:
    CurlList() = default;
    CurlList(const CurlList&) = delete;
    CurlList& operator=(const CurlList&) = delete;
    ~CurlList() {
        curl_slist_free_all(m_list);
    }

    void Add(const std::string& line) {
        curl_slist* longer = curl_slist_append(m_list, line.c_str());
        if (longer == nullptr) {
            throw std::bad_alloc();
        }
        m_list = longer;
    }
    curl_slist* Get() const {
        return m_list;
    }

private:
    curl_slist* m_list = nullptr;
};

/** What all requests of the process share, so that one connection and one handshake serve a whole run. */
class Share {
public:
    static CURLSH* Get() {
        static const Share share;
        return share.m_share;
    }
    Share(const Share&) = delete;
    Share& operator=(const Share&) = delete;

private:
    Share() {
        curl_global_init(CURL_GLOBAL_DEFAULT);
        m_share = curl_share_init();
        for (const auto kind : {CURL_LOCK_DATA_CONNECT, CURL_LOCK_DATA_DNS, CURL_LOCK_DATA_SSL_SESSION}) {
            curl_share_setopt(m_share, CURLSHOPT_SHARE, kind);
        }
    }
    ~Share() {
        curl_share_cleanup(m_share);
        curl_global_cleanup();
    }

    CURLSH* m_share = nullptr;
};

bool HasLineBreak(const std::string& text) {
    return text.find_first_of(std::string("\r\n\0", 3)) != std::string::npos;
}

/** libcurl takes "Name:" as the wish to leave the header out, and "Name;" as the wish to send it empty. */
std::string CurlHeaderLine(const std::string& line) {
    const auto colon = line.find(':');
    const bool hasValue = line.find_first_not_of(" \t", colon + 1) != std::string::npos;
    return hasValue ? line : line.substr(0, colon) + ";";
}

/** Queries hold what is nobody's business in a log. */
std::string WithoutQuery(const std::string& url) {
    return url.substr(0, url.find_first_of("?#"));
}

}  // namespace

/** One request as it was asked for, and the libcurl handle that sends it. */
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
        std::chrono::seconds connectTimeout = CONNECT_TIMEOUT;
        std::chrono::seconds stallTimeout = STALL_TIMEOUT;
        /** Why the request must not be sent, if so. */
        std::string refusal;
    };

    Transfer() : m_handle(curl_easy_init(), &curl_easy_cleanup) {
        if (!m_handle) {
            throw std::bad_alloc();
        }
    }

    Request request;
    long responseCode = 0;

    bool Refuse(const std::string& reason) {
        request.refusal = reason;
        return false;
    }

    /** @throws std::runtime_error when no whole answer came */
    void Send() {
        responseCode = 0;
        if (!request.refusal.empty()) {
            throw std::runtime_error(request.refusal);
        }
        const auto ini = TvFolder::ReadIni();
        TransferWatch watch(request.stallTimeout, ini->Integer(TvKeys::MAX_RESPONSE_BYTES));
        m_watch = &watch;
        CurlList headers;
        CurlList connectTo;
        curl_easy_reset(m_handle.get());
        SetTarget(*ini, connectTo);
        SetTrust(*ini);
        SetMessage(headers);
        watch.Attach(m_handle.get());
        Perform();
    }

private:
    template <typename Value>
    void Set(CURLoption option, Value value) {
        const CURLcode code = curl_easy_setopt(m_handle.get(), option, value);
        if (code != CURLE_OK) {
            throw std::runtime_error(curl_easy_strerror(code));
        }
    }

    void SetTarget(const TvIni& ini, CurlList& connectTo) {
        const bool hasHost = request.url.empty() || request.url.front() != '/';
        Set(CURLOPT_URL, (hasHost ? request.url : GateSite::Read().origin + request.url).c_str());
        Set(CURLOPT_SHARE, Share::Get());
        Set(CURLOPT_PROTOCOLS_STR, "https");
        // The servers are to see header names as they are written here.
        Set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
        Set(CURLOPT_FOLLOWLOCATION, 0L);
        Set(CURLOPT_PROXY, "");
        Set(CURLOPT_NOSIGNAL, 1L);
        // A look-up that outlives its time-out must not hold up the end of the process.
        Set(CURLOPT_QUICK_EXIT, 1L);
        Set(CURLOPT_CONNECTTIMEOUT, static_cast<long>(request.connectTimeout.count()));
        Set(CURLOPT_TIMEOUT, static_cast<long>(ini.Integer(TvKeys::MAX_SECONDS)));
        for (const std::string& route : ini.List(TvKeys::CONNECT_TO)) {
            connectTo.Add(route);
        }
        Set(CURLOPT_CONNECT_TO, connectTo.Get());
    }

    void SetTrust(const TvIni& ini) {
        Set(CURLOPT_SSL_VERIFYPEER, 1L);
        Set(CURLOPT_SSL_VERIFYHOST, 2L);
        Set(CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
        const auto caFile = ini.Text(TvKeys::CA_FILE);
        if (caFile) {
            Set(CURLOPT_CAINFO, TvFolder::Resolve(*caFile).c_str());
            Set(CURLOPT_CAPATH, nullptr);
        } else if (curl_version_info(CURLVERSION_NOW)->capath != nullptr) {
            // The system's hashed folder serves alone: parsing the bundle file costs 15 ms for each
            // connection.
            Set(CURLOPT_CAINFO, nullptr);
        }
    }

    void SetMessage(CurlList& headers) {
        for (const std::string& line : request.headers) {
            headers.Add(CurlHeaderLine(line));
        }
        // A big body would otherwise wait for the server's leave.
        headers.Add("Expect:");
        Set(CURLOPT_HTTPHEADER, headers.Get());
        if (request.isPost) {
            const auto size = static_cast<curl_off_t>(request.body.size());
            if (request.bodySize && *request.bodySize > size) {
                throw std::runtime_error("the body is shorter than the size given for it");
            }
            Set(CURLOPT_POST, 1L);
            // Set even when empty: libcurl would else read the body from standard input.
            Set(CURLOPT_POSTFIELDS, request.body.c_str());
            Set(CURLOPT_POSTFIELDSIZE_LARGE, curl_off_t{request.bodySize.value_or(size)});
        }
        Set(CURLOPT_WRITEFUNCTION, &OnBody);
        Set(CURLOPT_WRITEDATA, this);
    }

    void Perform() {
        std::array<char, CURL_ERROR_SIZE> detail = {};
        Set(CURLOPT_ERRORBUFFER, detail.data());
        const CURLcode code = curl_easy_perform(m_handle.get());
        curl_easy_setopt(m_handle.get(), CURLOPT_ERRORBUFFER, nullptr);
        if (!m_watch->Problem().empty()) {
            throw std::runtime_error(m_watch->Problem());
        }
        if (code != CURLE_OK) {
            throw std::runtime_error(std::string(curl_easy_strerror(code)) +
                                     (detail.front() == '\0' ? "" : std::string(": ") + detail.data()));
        }
        curl_easy_getinfo(m_handle.get(), CURLINFO_RESPONSE_CODE, &responseCode);
    }

    static size_t OnBody(char* data, size_t size, size_t count, void* transfer) {
        const auto& self = *static_cast<Transfer*>(transfer);
        if (!self.m_watch->Count(size * count)) {
            return 0;
        }
        if (self.request.write == nullptr) {
            return size * count;
        }
        try {
            return self.request.write(data, size, count, self.request.writeData);
        } catch (const std::exception&) {
            return 0;  // libcurl is C: nothing may be thrown through it
        }
    }

    std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> m_handle;
    TransferWatch* m_watch = nullptr;
};

NxCurlEasy::NxCurlEasy() = default;

NxCurlEasy::~NxCurlEasy() = default;

bool NxCurlEasy::Initialize() {
    try {
        Share::Get();
        m_transfer = std::make_unique<Transfer>();
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

bool NxCurlEasy::setOption(NXCURL_OPTION_TYPE option, const std::string& value) {
    auto& request = m_transfer->request;
    switch (option) {
        case NXCURL_OPTION_URL:
            request.url = value;
            return !HasLineBreak(value) || m_transfer->Refuse("a line break in the URL");
        case NXCURL_OPTION_POSTFIELDS:
            request.body = value;
            return true;
        default:
            return m_transfer->Refuse("option " + std::to_string(option) + " takes no text");
    }
}

bool NxCurlEasy::setOption(NXCURL_OPTION_TYPE option, long value) {
    auto& request = m_transfer->request;
    switch (option) {
        case NXCURL_OPTION_SSL_VERIFYPEER:
            return value == 1 || m_transfer->Refuse("the peer is verified always");
        case NXCURL_OPTION_POST:
            request.isPost = value != 0;
            return true;
        case NXCURL_OPTION_POSTFIELDSIZE:
            request.bodySize = value < 0 ? std::nullopt : std::optional<long>(value);
            return true;
        default:
            return m_transfer->Refuse("option " + std::to_string(option) + " takes no number");
    }
}

bool NxCurlEasy::setOption(NXCURL_OPTION_TYPE option, void* value) {
    if (option != NXCURL_OPTION_WRITEDATA) {
        return m_transfer->Refuse("option " + std::to_string(option) + " takes no pointer");
    }
    m_transfer->request.writeData = value;
    return true;
}

bool NxCurlEasy::setOption(NXCURL_OPTION_TYPE option, NxCurlWriteFunction value) {
    if (option != NXCURL_OPTION_WRITEFUNCTION) {
        return m_transfer->Refuse("option " + std::to_string(option) + " takes no function");
    }
    m_transfer->request.write = value;
    return true;
}

bool NxCurlEasy::setOption(NXCURL_OPTION_TYPE option, const std::list<std::string>& value) {
    if (option != NXCURL_OPTION_HTTPHEADER) {
        return m_transfer->Refuse("option " + std::to_string(option) + " takes no list");
    }
    const bool isClean = std::none_of(value.begin(), value.end(), [](const std::string& line) {
        return HasLineBreak(line) || line.find(':') == std::string::npos;
    });
    if (!isClean) {
        return m_transfer->Refuse("a header line with a line break in it, or without a colon");
    }
    m_transfer->request.headers = value;
    return true;
}

void NxCurlEasy::setTimeout(long connectSeconds, long stallSeconds) {
    m_transfer->request.connectTimeout = std::chrono::seconds(connectSeconds);
    m_transfer->request.stallTimeout = std::chrono::seconds(stallSeconds);
}

// On a set the client adds the set's own identity here; there is none off the set.
void NxCurlEasy::setSmartTVHeader(t_HdrOption /*option*/) {}

// On a set the gate site needs certificates of its own; off the set [http] ca_file names what every host is
// verified against, so that there is nothing to relax or to add for this one.
void NxCurlEasy::setQuorlenGatesiteSSLContext() {}

bool NxCurlEasy::send() {
    try {
        m_transfer->Send();
        return true;
    } catch (const std::exception& error) {
        __dlog_print(LOG_ID_MAIN, DLOG_ERROR, "NXCURL", "%s: %s",
                     WithoutQuery(m_transfer->request.url).c_str(), error.what());
        return false;
    }
}

bool NxCurlEasy::getInfo(NXCURL_INFO_TYPE info, long* value) {
    if (info != NXCURL_INFO_RESPONSE_CODE || value == nullptr || m_transfer->responseCode == 0) {
        return false;
    }
    *value = m_transfer->responseCode;
    return true;
}

void NxCurlEasy::reset() {
    m_transfer->request = {};
    m_transfer->responseCode = 0;
}
