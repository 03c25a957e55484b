/** The platform log: what the service uses of it. */
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

/** The log buffer that an entry goes to. */
typedef enum {
    LOG_ID_MAIN = 0,
} log_id_t;

/** Priorities, least to most severe. */
typedef enum {
    DLOG_UNKNOWN = 0,
    DLOG_DEFAULT,
    DLOG_VERBOSE,
    DLOG_DEBUG,
    DLOG_INFO,
    DLOG_WARN,
    DLOG_ERROR,
    DLOG_FATAL,
} log_priority;

/**
 * Writes one entry. Safe from any thread. An entry longer than the platform's limit is cut.
 * @return the number of bytes written, or a negative error code
 */
int __dlog_print(log_id_t log_id, int prio, const char* tag, const char* fmt, ...)
    __attribute__((format(printf, 4, 5)));

#ifdef __cplusplus
}
#endif
