# 32-bit Arm with hardware floating point, as most televisions have it.
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(cross_compiler arm-linux-gnueabihf)
set(cross_libraries arm-linux-gnueabihf)
set(cross_emulator qemu-arm-static)
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)
