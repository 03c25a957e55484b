/** The platform's Bluetooth stack: what the service uses of it. */
#pragma once

#include <stdbool.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef enum {
    BT_ERROR_NONE = 0,
    BT_ERROR_INVALID_PARAMETER = -22,
    BT_ERROR_NOT_INITIALIZED = -0x01900000 | 0x0101,
    BT_ERROR_OPERATION_FAILED = -0x01900000 | 0x0107,
    BT_ERROR_REMOTE_DEVICE_NOT_BONDED = -0x01900000 | 0x0108,
} bt_error_e;

/** What the adapter knows of a remote device. */
typedef struct {
    char* remote_address;
    bool is_bonded;
} bt_device_info_s;

/** Must come before any other call. */
int bt_initialize(void);

int bt_deinitialize(void);

/** Looks a remote device up. *device_info is the caller's, to be released with bt_adapter_free_device_info().
 */
int bt_adapter_get_bonded_device_info(const char* remote_address, bt_device_info_s** device_info);

int bt_adapter_free_device_info(bt_device_info_s* device_info);

#ifdef __cplusplus
}
#endif
