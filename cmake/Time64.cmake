# A time_t of 64 bits where the C library of a 32-bit machine can be asked for one: times after January 2038.
# What shares no time_t or off_t with a library that was built without it may use it; see Workbench/Cloud.
include(CheckCXXSourceCompiles)
set(time_check "
    #include <ctime>
    static_assert(sizeof(std::time_t) >= 8);
    int main() {}")
check_cxx_source_compiles("${time_check}" INFOSYNC_TIME_IS_64_BIT)
if(NOT INFOSYNC_TIME_IS_64_BIT)
    set(CMAKE_REQUIRED_DEFINITIONS -D_TIME_BITS=64 -D_FILE_OFFSET_BITS=64)
    check_cxx_source_compiles("${time_check}" INFOSYNC_TIME_BITS)
    unset(CMAKE_REQUIRED_DEFINITIONS)
    add_compile_definitions(_FILE_OFFSET_BITS=64 $<$<BOOL:${INFOSYNC_TIME_BITS}>:_TIME_BITS=64>)
endif()
