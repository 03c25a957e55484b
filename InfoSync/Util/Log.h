/** The service's log: one line layout, one tag, and the tracer of calls. */
#pragma once

#include <dlog.h>

#include <string>

namespace InfoSyncLog {

inline constexpr char TAG[] = "BT_INFOSYNC";

/** The part of a path after its last '/'. */
constexpr const char* BaseName(const char* path) {
    const char* name = path;
    for (const char* at = path; *at != '\0'; ++at) {
        if (*at == '/') {
            name = at + 1;
        }
    }
    return name;
}

}  // namespace InfoSyncLog

/**
 * INFOSYNC_LOG(priority, format, ...): writes "FILE: FUNCTION(LINE) > " and the message, printf-style with up
 * to four values. The format must be a string literal.
 *
 * Standard C++17 has no way to drop the comma before an empty "...", hence the two forms and the choice by
 * count.
 */
#define INFOSYNC_LOG(priority, ...)                                                                 \
    INFOSYNC_LOG_CHOOSE(__VA_ARGS__, INFOSYNC_LOG_VALUES, INFOSYNC_LOG_VALUES, INFOSYNC_LOG_VALUES, \
                        INFOSYNC_LOG_VALUES, INFOSYNC_LOG_TEXT, unused)                             \
    (priority, __VA_ARGS__)
#define INFOSYNC_LOG_CHOOSE(format, v1, v2, v3, v4, form, ...) form
#define INFOSYNC_LOG_TEXT(priority, format)                                       \
    __dlog_print(LOG_ID_MAIN, priority, InfoSyncLog::TAG, "%s: %s(%d) > " format, \
                 InfoSyncLog::BaseName(__FILE__), static_cast<const char*>(__func__), __LINE__)
#define INFOSYNC_LOG_VALUES(priority, format, ...)                                \
    __dlog_print(LOG_ID_MAIN, priority, InfoSyncLog::TAG, "%s: %s(%d) > " format, \
                 InfoSyncLog::BaseName(__FILE__), static_cast<const char*>(__func__), __LINE__, __VA_ARGS__)

/**
 * Logs the entry into a scope and, on every way out, the exit. The name is the traced operation's signature
 * as plain text, because compilers spell the one that they offer each in their own way.
 */
class ApiTracker {
public:
    ApiTracker(const std::string& name, int line) : m_name(name), m_line(line) {
        INFOSYNC_LOG(DLOG_DEBUG, "IN >> [%s(%d)]", m_name.c_str(), m_line);
    }
    ~ApiTracker() {
        INFOSYNC_LOG(DLOG_DEBUG, "OUT << [%s(%d)]", m_name.c_str(), m_line);
    }
    ApiTracker(const ApiTracker&) = delete;
    ApiTracker& operator=(const ApiTracker&) = delete;

private:
    std::string m_name;
    int m_line;
};
