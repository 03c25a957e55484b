// Prints what the platform's Bluetooth says: the result of its start, then one line for each address asked
// for.
#include <bluetooth.h>

#include <cstdio>
#include <string>

int main(int count, char** values) {
    std::printf("start %d\n", bt_initialize());
    for (int i = 1; i < count; ++i) {
        bt_device_info_s* info = nullptr;
        const int result = bt_adapter_get_bonded_device_info(values[i], &info);
        std::printf("%s %s\n", values[i],
                    info == nullptr   ? std::to_string(result).c_str()
                    : info->is_bonded ? "bonded"
                                      : "known");
        bt_adapter_free_device_info(info);
    }
    bt_deinitialize();
    return 0;
}
