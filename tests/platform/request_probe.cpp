// Sends one request with the platform's HTTP client and prints what became of it.
#include <NxCurl.h>

#include <cstdio>
#include <string>

int main(int count, char** values) {
    NxCurlEasy client;
    if (count != 2 || !client.Initialize()) {
        return 2;
    }
    std::size_t length = 0;
    client.setOption(NXCURL_OPTION_URL, std::string(values[1]));
    client.setOption(
        NXCURL_OPTION_WRITEFUNCTION, +[](char* /*data*/, std::size_t size, std::size_t pieces, void* sum) {
            *static_cast<std::size_t*>(sum) += size * pieces;
            return size * pieces;
        });
    client.setOption(NXCURL_OPTION_WRITEDATA, static_cast<void*>(&length));
    if (!client.send()) {
        std::puts("failed");
        return 0;
    }
    long status = 0;
    client.getInfo(NXCURL_INFO_RESPONSE_CODE, &status);
    std::printf("%ld, %zu bytes\n", status, length);
    return 0;
}
