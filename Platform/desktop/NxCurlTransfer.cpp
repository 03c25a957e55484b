#include "NxCurlTransfer.h"

#include <new>
#include <stdexcept>
#include <string_view>

#include "CloudSite.h"
#include "GateSite.h"
#include "TvFolder.h"

namespace {

/** libcurl keeps all headers, interim answers and trailers in memory, and a server may send any number. */
constexpr std::int64_t MOST_HEADER_BYTES = std::int64_t{256} * 1024;

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

/** libcurl takes "Name:" as the wish to leave the header out, and "Name;" as the wish to send it empty. */
std::string CurlHeaderLine(const std::string& line) {
    const auto colon = line.find(':');
    const bool hasValue = line.find_first_not_of(" \t", colon + 1) != std::string::npos;
    return hasValue ? line : line.substr(0, colon) + ";";
}

using List = std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)>;

void Append(List& list, const std::string& line) {
    curl_slist* longer = curl_slist_append(list.get(), line.c_str());
    if (longer == nullptr) {
        throw std::bad_alloc();
    }
    static_cast<void>(list.release());
    list.reset(longer);
}

List HeaderList(const std::list<std::string>& lines) {
    List list(nullptr, &curl_slist_free_all);
    for (const std::string& line : lines) {
        Append(list, CurlHeaderLine(line));
    }
    // A big body would otherwise wait for the server's leave.
    Append(list, "Expect:");
    return list;
}

/** The routes of tv.ini; where it has none, all ways lead to the local cloud that it names. */
List ConnectToList(const TvIni& ini) {
    List list(nullptr, &curl_slist_free_all);
    for (const std::string& route : ini.List(TvKeys::CONNECT_TO)) {
        Append(list, route);
    }
    const CloudSite cloud = CloudSite::Of(ini);
    if (!list && !cloud.folder.empty()) {
        Append(list, "::127.0.0.1:" + std::to_string(cloud.Port()));
    }
    return list;
}

}  // namespace

NxCurlEasy::Transfer::Transfer() : m_handle((Share::Get(), curl_easy_init()), &curl_easy_cleanup) {
    if (!m_handle) {
        throw std::bad_alloc();
    }
}

bool NxCurlEasy::Transfer::Refuse(const std::string& reason) {
    request.refusal = reason;
    return false;
}

void NxCurlEasy::Transfer::Send() {
    responseCode = 0;
    if (!request.refusal.empty()) {
        throw std::runtime_error(request.refusal);
    }
    const auto ini = TvFolder::ReadIni();
    m_headerBytes = 0;
    m_sawEndOfHeaders = false;
    m_bodyBytes = 0;
    m_mostBodyBytes = ini->Integer(TvKeys::MAX_RESPONSE_BYTES);
    const List headers = HeaderList(request.headers);
    const List connectTo = ConnectToList(*ini);
    // libcurl must not keep the addresses of what lives for this call only.
    const std::unique_ptr<CURL, decltype(&curl_easy_reset)> cleared(m_handle.get(), &curl_easy_reset);
    SetTarget(*ini, connectTo);
    SetTrust(*ini);
    SetMessage(headers);
    Perform();
}

template <typename Value>
void NxCurlEasy::Transfer::Set(CURLoption option, Value value) {
    const CURLcode code = curl_easy_setopt(m_handle.get(), option, value);
    if (code != CURLE_OK) {
        throw std::runtime_error(curl_easy_strerror(code));
    }
}

void NxCurlEasy::Transfer::SetTarget(const TvIni& ini, const List& connectTo) {
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
    Set(CURLOPT_CONNECTTIMEOUT, request.connectSeconds);
    Set(CURLOPT_LOW_SPEED_LIMIT, 1L);
    Set(CURLOPT_LOW_SPEED_TIME, request.stallSeconds);
    Set(CURLOPT_TIMEOUT, static_cast<long>(ini.Integer(TvKeys::MAX_SECONDS)));
    Set(CURLOPT_CONNECT_TO, connectTo.get());
}

void NxCurlEasy::Transfer::SetTrust(const TvIni& ini) {
    Set(CURLOPT_SSL_VERIFYPEER, 1L);
    Set(CURLOPT_SSL_VERIFYHOST, 2L);
    Set(CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
    const auto caFile = ini.Text(TvKeys::CA_FILE);
    const CloudSite cloud = CloudSite::Of(ini);
    if (caFile || !cloud.folder.empty()) {
        Set(CURLOPT_CAINFO, (caFile ? TvFolder::Resolve(*caFile) : cloud.CaFile()).c_str());
        Set(CURLOPT_CAPATH, nullptr);
    } else if (curl_version_info(CURLVERSION_NOW)->capath != nullptr) {
        // The system's hashed folder serves alone: parsing the bundle file costs 15 ms for each
        // connection.
        Set(CURLOPT_CAINFO, nullptr);
    }
}

void NxCurlEasy::Transfer::SetMessage(const List& headers) {
    Set(CURLOPT_HTTPHEADER, headers.get());
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
    Set(CURLOPT_HEADERFUNCTION, &OnHeader);
    Set(CURLOPT_HEADERDATA, this);
    Set(CURLOPT_WRITEFUNCTION, &OnBody);
    Set(CURLOPT_WRITEDATA, this);
}

void NxCurlEasy::Transfer::Perform() {
    std::array<char, CURL_ERROR_SIZE> detail = {};
    Set(CURLOPT_ERRORBUFFER, detail.data());
    const CURLcode code = curl_easy_perform(m_handle.get());
    CheckLength();
    if (code != CURLE_OK) {
        throw std::runtime_error(std::string(curl_easy_strerror(code)) +
                                 (detail.front() == '\0' ? "" : std::string(": ") + detail.data()));
    }
    if (!m_sawEndOfHeaders) {  // fine for some versions of libcurl, as an answer without a body
        throw std::runtime_error("the answer ends within its headers");
    }
    curl_easy_getinfo(m_handle.get(), CURLINFO_RESPONSE_CODE, &responseCode);
}

void NxCurlEasy::Transfer::CheckLength() const {
    if (m_headerBytes > MOST_HEADER_BYTES) {
        throw std::runtime_error("the headers, interim answers and trailers are over " +
                                 std::to_string(MOST_HEADER_BYTES) + " bytes");
    }
    if (m_bodyBytes > m_mostBodyBytes) {
        throw std::runtime_error("the body is over " + std::to_string(m_mostBodyBytes) +
                                 " bytes ([http] max_response_bytes)");
    }
}

size_t NxCurlEasy::Transfer::OnHeader(char* data, size_t size, size_t count, void* transfer) {
    auto& self = *static_cast<Transfer*>(transfer);
    const std::string_view line(data, size * count);
    self.m_sawEndOfHeaders = self.m_sawEndOfHeaders || line == "\r\n" || line == "\n";
    self.m_headerBytes += static_cast<std::int64_t>(size * count);
    return self.m_headerBytes <= MOST_HEADER_BYTES ? size * count : 0;
}

size_t NxCurlEasy::Transfer::OnBody(char* data, size_t size, size_t count, void* transfer) {
    auto& self = *static_cast<Transfer*>(transfer);
    self.m_bodyBytes += static_cast<std::int64_t>(size * count);
    if (self.m_bodyBytes > self.m_mostBodyBytes) {
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
