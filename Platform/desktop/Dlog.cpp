#include <dlog.h>

#include <cerrno>
#include <cstdarg>
#include <exception>

#include "LogSink.h"
#include "TvFolder.h"

int __dlog_print(log_id_t /*log_id*/, int prio, const char* tag, const char* fmt, ...) {
    if (prio < DLOG_VERBOSE || prio > DLOG_FATAL || tag == nullptr || fmt == nullptr) {
        return -EINVAL;
    }
    try {
        static auto& sink = *new LogSink(*TvFolder::ReadIni());  // never destroyed: destructors log
        std::va_list values;
        va_start(values, fmt);
        const int result = sink.Write(prio, tag, fmt, values);
        va_end(values);
        return result;
    } catch (const std::exception&) {
        return -ENOMEM;
    }
}
