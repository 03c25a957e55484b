# A television's own libraries in place of Platform/: the same two targets, `platform_headers` and `platform`.
pkg_check_modules(TV_PLATFORM REQUIRED IMPORTED_TARGET
    dlog vconf key-manager capi-system-info capi-network-bluetooth
    ${INFOSYNC_SSO_MODULE} ${INFOSYNC_HTTP_CLIENT_MODULE})

add_library(platform_headers INTERFACE)
target_include_directories(platform_headers SYSTEM INTERFACE ${TV_PLATFORM_INCLUDE_DIRS})
target_compile_options(platform_headers INTERFACE ${TV_PLATFORM_CFLAGS_OTHER})

add_library(platform INTERFACE)
target_link_libraries(platform INTERFACE PkgConfig::TV_PLATFORM)
