// Sends requests with one client of the platform's, to each URL given, and prints what became of each.
// "reset" between them is carried out, and says whether an answer is left.
#include <NxCurl.h>

#include <cstdio>
#include <string>

namespace {

void PrintStatus(NxCurlEasy& client, const char* what) {
    long status = 0;
    const bool isThere = client.getInfo(NXCURL_INFO_RESPONSE_CODE, &status);
    std::printf("%s: %s\n", what, isThere ? std::to_string(status).c_str() : "no status");
}

void Request(NxCurlEasy& client, const std::string& url) {
    std::size_t length = 0;
    client.setOption(NXCURL_OPTION_URL, url);
    client.setOption(NXCURL_OPTION_HTTPHEADER, std::list<std::string>{"X-Empty: "});
    client.setOption(
        NXCURL_OPTION_WRITEFUNCTION, +[](char* /*data*/, std::size_t size, std::size_t pieces, void* sum) {
            *static_cast<std::size_t*>(sum) += size * pieces;
            return size * pieces;
        });
    client.setOption(NXCURL_OPTION_WRITEDATA, static_cast<void*>(&length));
    const bool isSent = client.send();
    PrintStatus(client, isSent ? (std::to_string(length) + " bytes").c_str() : "failed");
}

}  // namespace

int main(int count, char** values) {
    NxCurlEasy client;
    if (count < 2 || !client.Initialize()) {
        return 2;
    }
    for (int i = 1; i < count; ++i) {
        if (values[i] == std::string("reset")) {
            client.reset();
            PrintStatus(client, "reset");
        } else {
            Request(client, values[i]);
        }
    }
    return 0;
}
