/** A request to one of the servers, and its answer. */
#pragma once

#include <list>
#include <map>
#include <string>

/** Complete header lines, each a name, a colon, a blank and the value. */
using HttpHeader = std::list<std::string>;
using HttpBody = std::string;

enum class RequestType {
    Get = 0,
    Post = 2,
};

/**
 * One object serves one request: Init, AddHttpMessageData, Request, GetHttpResponse, Reset. A failure at any
 * step is an exception, after which the object can only be destroyed.
 */
class IHttpMessage {
public:
    virtual ~IHttpMessage() = default;

    /** Gets the HTTP client. @throws CInfoSyncException */
    virtual void Init() = 0;

    /** Clears the HTTP client; only after Init. */
    virtual void Reset() = 0;

    /** Adds an entry that the build operations read; a key that is already there keeps its first value. */
    virtual void AddHttpMessageData(const std::string& key, const std::string& value) = 0;

    /** Sends the request and blocks until the answer is whole. @throws CInfoSyncException */
    virtual void Request(RequestType type) = 0;

    /** The body of the answer. */
    virtual std::string GetHttpResponse() = 0;

    virtual std::map<std::string, std::string> GetHttpMessageData() = 0;

    /** Sets every option of the HTTP client for this request. */
    virtual void BuildMessage(RequestType type) = 0;

    virtual HttpBody BuildBody() = 0;

    /** contentLength: the body's length in bytes. */
    virtual HttpHeader BuildHeader(int contentLength) = 0;

    /** Judges the answer's HTTP status. @throws CInfoSyncException when it is a failure */
    virtual void HandleHttpStatusCode(long statusCode) = 0;
};

/** Sends the message, takes the body of the answer and clears the HTTP client. @throws CInfoSyncException */
inline std::string Exchange(IHttpMessage& message, RequestType type) {
    message.Request(type);
    std::string answer = message.GetHttpResponse();
    message.Reset();
    return answer;
}
