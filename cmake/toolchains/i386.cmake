# A 64-bit PC runs it by itself where its kernel can, which not every one can: so with an emulator, as the others.
set(CMAKE_SYSTEM_PROCESSOR i686)
set(cross_compiler i686-linux-gnu)
set(cross_libraries i386-linux-gnu)
set(cross_emulator qemu-i386-static)
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)
