# A 64-bit PC runs it without an emulator.
set(CMAKE_SYSTEM_PROCESSOR i686)
set(cross_compiler i686-linux-gnu)
set(cross_libraries i386-linux-gnu)
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)
