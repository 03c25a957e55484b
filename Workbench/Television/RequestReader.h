/** Follows the service's log to tell which requests a run sent, and what came back. */
#pragma once

#include <json/json.h>

#include "Television/LogReader.h"

namespace Television {

class RequestReader {
public:
    void Take(const LogLine& line);

    /**
     * In their order, each an object: "request" (token, token refresh, activation, application token or
     * download), "answered", "status" (null where the log does not tell it: that of a token's is told of a
     * refusal alone) and for a download "mark" (null where it asked for all). At W and above the log does not
     * show every request.
     */
    const Json::Value& Requests() const {
        return m_requests;
    }

private:
    void Begin(const std::string& name);
    void TakeStatus(const std::string& file, const Json::Value& status);
    Json::Value& Last();

    Json::Value m_requests = Json::Value(Json::arrayValue);
    /** The one that is next to be sent. */
    std::string m_next = "download";
    Json::Value m_mark;
};

}  // namespace Television
