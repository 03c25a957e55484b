# What the toolchain files beside it share: Debian's cross compiler, with that architecture's packages installed beside
# the machine's own. For a set's sysroot set CMAKE_SYSROOT, and PKG_CONFIG_LIBDIR in the environment.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${cross_compiler}-gcc)
set(CMAKE_CXX_COMPILER ${cross_compiler}-g++)
if(NOT DEFINED ENV{PKG_CONFIG_LIBDIR})
    set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/${cross_libraries}/pkgconfig:/usr/share/pkgconfig)
endif()
find_program(INFOSYNC_EMULATOR NAMES ${cross_emulator})
if(cross_emulator AND INFOSYNC_EMULATOR)
    set(CMAKE_CROSSCOMPILING_EMULATOR ${INFOSYNC_EMULATOR})
endif()
