#include "Television/QuietLog.h"

#include <dlog.h>

#include <array>
#include <cstdarg>
#include <cstdio>
#include <string_view>

namespace {

std::string& HttpError() {
    static std::string error;
    return error;
}

}  // namespace

int __dlog_print(log_id_t /*log_id*/, int prio, const char* tag, const char* fmt, ...) {
    if (prio == DLOG_ERROR && std::string_view(tag) == "NXCURL") {
        std::array<char, 1024> text = {};
        va_list arguments;
        va_start(arguments, fmt);
        static_cast<void>(std::vsnprintf(text.data(), text.size(), fmt, arguments));
        va_end(arguments);
        HttpError() = text.data();
    }
    return 0;
}

std::string Television::LastHttpError() {
    return HttpError();
}
