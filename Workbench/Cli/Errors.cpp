#include "Cli/Errors.h"

#include <dlog.h>

#include <array>
#include <cstdarg>
#include <cstdio>
#include <filesystem>

namespace {

std::string lastLoggedError;

}  // namespace

int __dlog_print(log_id_t /*log_id*/, int prio, const char* /*tag*/, const char* fmt, ...) {
    std::array<char, 1024> text = {};
    if (prio == DLOG_ERROR) {
        va_list arguments;
        va_start(arguments, fmt);
        static_cast<void>(std::vsnprintf(text.data(), text.size(), fmt, arguments));
        va_end(arguments);
        lastLoggedError = text.data();
    }
    return 0;
}

namespace Cli {

std::string Reason(const std::exception& error) {
    const auto* file = dynamic_cast<const std::filesystem::filesystem_error*>(&error);
    return file == nullptr ? error.what() : file->path1().string() + ": " + file->code().message();
}

const std::string& LastLoggedError() {
    return lastLoggedError;
}

}  // namespace Cli
