/** The platform's key manager client: what the service uses of it. */
#pragma once

#include <stdbool.h>
#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

#define CKMC_ERROR_BASE (-0x01E10000)

enum {
    CKMC_ERROR_NONE = 0,
    CKMC_ERROR_INVALID_PARAMETER = -22,
    CKMC_ERROR_DB_ERROR = CKMC_ERROR_BASE | 0x07,
    CKMC_ERROR_DB_ALIAS_EXISTS = CKMC_ERROR_BASE | 0x0B,
    CKMC_ERROR_DB_ALIAS_UNKNOWN = CKMC_ERROR_BASE | 0x0C,
};

/** Bytes and their count; not NUL-terminated by itself. */
typedef struct {
    unsigned char* data;
    size_t size;
} ckmc_raw_buffer_s;

/** How a record is kept: under a password (or none), and whether it may be read back. */
typedef struct {
    char* password;
    bool extractable;
} ckmc_policy_s;

/** Stores the bytes under an alias that must be free. */
int ckmc_save_data(const char* alias, const ckmc_raw_buffer_s data, const ckmc_policy_s policy);

/** Reads a record. *data is the caller's, to be released with ckmc_buffer_free(). */
int ckmc_get_data(const char* alias, const char* password, ckmc_raw_buffer_s** data);

/** Deletes a record; CKMC_ERROR_DB_ALIAS_UNKNOWN where there is none. */
int ckmc_remove_alias(const char* alias);

void ckmc_buffer_free(ckmc_raw_buffer_s* buffer);

#ifdef __cplusplus
}
#endif
