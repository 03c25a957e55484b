/** Feeds bytes to the service as the input of the number FUZZ_TARGET, which the build gives. */
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "FakePlatform.h"
#include "Outside.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string input(reinterpret_cast<const char*>(data), size);
    const std::string wrong = Outside::Try(static_cast<Outside::Input>(FUZZ_TARGET), input).wrong;
    if (!wrong.empty()) {
        std::fprintf(stderr, "%s; the errors of the last run:\n", wrong.c_str());
        for (const auto& entry : Fake::Log()) {
            std::fprintf(stderr, "%s\n", entry.message.c_str());
        }
        std::abort();
    }
    return 0;
}
