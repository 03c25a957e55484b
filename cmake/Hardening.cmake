# How every executable of this tree is made hard to misuse; packaging/check-hardening looks at the result.
include(CheckPIESupported)
check_pie_supported()
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

add_compile_options(-fstack-protector-strong)
if(NOT INFOSYNC_SANITIZE)
    # It needs an optimiser, and the sanitizers' own checks would be bypassed by it.
    add_compile_options($<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE>
                        $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=2>)
endif()
add_link_options(LINKER:-z,relro,-z,now,-z,noexecstack,--as-needed)
