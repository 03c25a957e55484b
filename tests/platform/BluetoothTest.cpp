#include <bluetooth.h>

#include <chrono>
#include <thread>

#include "Television.h"

using BluetoothTest = Television;

namespace {

/** The look-up's result, and "bonded", "known" or "". */
std::pair<int, std::string> LookUp(const char* address) {
    bt_device_info_s* info = nullptr;
    const int result = bt_adapter_get_bonded_device_info(address, &info);
    const std::string bond = info == nullptr ? "" : info->is_bonded ? "bonded" : "known";
    bt_adapter_free_device_info(info);
    return {result, bond};
}

}  // namespace

TEST_F(BluetoothTest, AnswersAsTheListsHaveItNow) {
    SetIni("[bluetooth]\nbonded=aa:BB:cc:00:00:01;\nknown=aa:BB:cc:00:00:02;AA:BB:CC:00:00:01");
    EXPECT_EQ(LookUp("AA:BB:CC:00:00:01").first, BT_ERROR_NOT_INITIALIZED);
    ASSERT_EQ(bt_initialize(), BT_ERROR_NONE);
    EXPECT_EQ(LookUp("AA:bb:CC:00:00:01"), std::pair(int{BT_ERROR_NONE}, std::string("bonded")));
    EXPECT_EQ(LookUp("AA:bb:CC:00:00:02"), std::pair(int{BT_ERROR_NONE}, std::string("known")));
    EXPECT_EQ(LookUp("AA:bb:CC:00:00:03"), std::pair(int{BT_ERROR_REMOTE_DEVICE_NOT_BONDED}, std::string()));
    EXPECT_EQ(LookUp(""), std::pair(int{BT_ERROR_REMOTE_DEVICE_NOT_BONDED}, std::string()));
    SetIni("[bluetooth]\nbonded=AA:BB:CC:00:00:03");
    std::this_thread::sleep_for(std::chrono::milliseconds(20));  // longer than a tick of any kernel's clock
    EXPECT_EQ(LookUp("AA:BB:CC:00:00:01").first, BT_ERROR_REMOTE_DEVICE_NOT_BONDED);
    EXPECT_EQ(LookUp("AA:BB:CC:00:00:03").second, "bonded");
    EXPECT_EQ(bt_deinitialize(), BT_ERROR_NONE);
    EXPECT_EQ(LookUp("AA:BB:CC:00:00:03").first, BT_ERROR_NOT_INITIALIZED);
}

TEST_F(BluetoothTest, AdapterThatDoesNotStartAnswersNothing) {
    SetIni("[bluetooth]\ninit_result=-5\nbonded=AA:BB:CC:00:00:01");
    EXPECT_EQ(bt_initialize(), -5);
    EXPECT_EQ(LookUp("AA:BB:CC:00:00:01").first, BT_ERROR_NOT_INITIALIZED);
}
