/** The platform's settings store: what the service uses of it. Keys are paths such as "db/owner/name". */
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

/** Reads an integer key. @return 0, or -1 with *intval untouched (no such key, not an integer) */
int vconf_get_int(const char* in_key, int* intval);

/** Writes an integer key. @return 0 or -1 */
int vconf_set_int(const char* in_key, int intval);

/** Reads a text key. @return the text, to be released with free(), or a null pointer */
char* vconf_get_str(const char* in_key);

/** Writes a text key. @return 0 or -1 */
int vconf_set_str(const char* in_key, const char* strval);

#ifdef __cplusplus
}
#endif
