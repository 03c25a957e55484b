#include "HttpMessage/CloudHeaders.h"

namespace CloudHeaders {

std::string UserAgent(MessageData& data, const std::string& tail) {
    return "User-Agent: " + data["model"] + ";" + data["build"] + ";" + data["client"] + ";" +
           data["platfom"] + tail;
}

HttpHeader UserRequest(MessageData& data, std::initializer_list<const char*> names, int contentLength) {
    HttpHeader header = {UserAgent(data, ";")};
    for (const std::string name : names) {
        header.push_back(name + ": " + data[name]);
    }
    header.emplace_back("Content-Type: application/json; charset=UTF-8");
    header.push_back("Content-Length: " + std::to_string(contentLength));
    return header;
}

}  // namespace CloudHeaders
