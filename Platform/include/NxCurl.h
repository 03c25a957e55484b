/** The platform's HTTP client: our own declarations of the operations that the service uses. */
#pragma once

#include <cstddef>
#include <list>
#include <memory>
#include <string>

enum NXCURL_OPTION_TYPE {
    NXCURL_OPTION_SSL_VERIFYPEER = 1,
    NXCURL_OPTION_POST = 16,
    NXCURL_OPTION_POSTFIELDSIZE = 19,
    NXCURL_OPTION_URL = 50,
    NXCURL_OPTION_POSTFIELDS = 59,
    NXCURL_OPTION_HTTPHEADER = 75,
    NXCURL_OPTION_WRITEFUNCTION = 78,
    NXCURL_OPTION_WRITEDATA = 86,
};

enum NXCURL_INFO_TYPE {
    NXCURL_INFO_RESPONSE_CODE = 8,
};

/** Which of the set's identifying headers the client adds by itself. */
enum t_HdrOption {
    HDR_OPTION_NONE = 0,
    HDR_OPTION_DEFAULT = 1,
};

/** Receives a piece of the body; returns the number of bytes it took, anything else ends the transfer. */
using NxCurlWriteFunction = size_t (*)(char* data, size_t size, size_t count, void* userData);

/** One HTTP exchange, synchronous. */
class NxCurlEasy {
public:
    NxCurlEasy();
    ~NxCurlEasy();
    NxCurlEasy(const NxCurlEasy&) = delete;
    NxCurlEasy& operator=(const NxCurlEasy&) = delete;

    /** Must succeed before any other operation. */
    bool Initialize();

    /**
     * Each overload takes the options of its type and copies the value; another option is refused. So is a
     * header line with a line break (CR or LF) or a NUL in it, and no request is sent then: the service puts
     * what servers gave it into header lines as it came, and relies on this.
     */
    bool setOption(NXCURL_OPTION_TYPE option, const std::string& value);
    bool setOption(NXCURL_OPTION_TYPE option, long value);
    bool setOption(NXCURL_OPTION_TYPE option, void* value);
    bool setOption(NXCURL_OPTION_TYPE option, NxCurlWriteFunction value);
    bool setOption(NXCURL_OPTION_TYPE option, const std::list<std::string>& value);

    /** Seconds until connected, and seconds without a byte that end the transfer. */
    void setTimeout(long connectSeconds, long stallSeconds);

    void setSmartTVHeader(t_HdrOption option);

    /** Applies the trust settings for the account service's gate site. */
    void setQuorlenGatesiteSSLContext();

    /**
     * Sends the request and hands the body to the write function.
     * @return false when an option was refused or no whole answer came
     */
    bool send();

    /** The response code of the last answer; *value is untouched when there is none. */
    bool getInfo(NXCURL_INFO_TYPE info, long* value);

    /** Forgets all options and the last answer. */
    void reset();

private:
    class Transfer;
    std::unique_ptr<Transfer> m_transfer;
};

namespace NxCurlUtility {

/** Joins a base and a query; an empty query adds nothing. */
std::string makeUri(const std::string& base, const std::string& query);

/** Appends one escaped name/value pair to the query. */
void makeQueryString(std::string& query, const std::string& name, const std::string& value);

bool checkIsHttps(const std::string& url);

}  // namespace NxCurlUtility
