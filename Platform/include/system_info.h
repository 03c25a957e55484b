/** Facts about the set: what the service uses of the platform's system information. */
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

typedef enum {
    SYSTEM_INFO_KEY_MODEL = 0,
    SYSTEM_INFO_KEY_TIZEN_VERSION = 1,
    SYSTEM_INFO_KEY_SW_VERSION = 128,
} system_info_key_e;

/** Reads a text by its numeric key. *value is the caller's, to be released with free(). @return 0 or an error
 */
int system_info_get_value_string(system_info_key_e key, char** value);

/** Reads a text by its feature key, such as "http://tizen.org/system/tizenid"; as above. */
int system_info_get_platform_string(const char* key, char** value);

#ifdef __cplusplus
}
#endif
