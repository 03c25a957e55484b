# How every executable of this tree is made hard to misuse; packaging/check-hardening looks at the result.
include(CheckCXXSourceCompiles)
include(CheckPIESupported)
check_pie_supported()
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
# A library search path would serve others' libraries too, and its place is part of the build id.
set(CMAKE_SKIP_RPATH ON)

add_compile_options(-fstack-protector-strong)

# A distribution's compiler or flags may have chosen more than this already.
set(CMAKE_REQUIRED_FLAGS -O2)
check_cxx_source_compiles("
    #ifndef _FORTIFY_SOURCE
    #error not chosen
    #endif
    int main() {}" INFOSYNC_FORTIFY_IS_CHOSEN)
unset(CMAKE_REQUIRED_FLAGS)
if(NOT INFOSYNC_SANITIZE AND NOT INFOSYNC_FORTIFY_IS_CHOSEN)
    # It needs an optimiser, and the sanitizers' own checks would be bypassed by it.
    add_compile_options($<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=2>)
endif()
add_link_options(LINKER:-z,relro,-z,now,-z,noexecstack,--as-needed)
