# Run by CPack before it packs: takes the debug information out of the programs and into a package of its own, by build id,
# as debuggers look for it; and sets the folders' modes, in which the umask of who packs must not show.
set(top ${CPACK_TEMPORARY_INSTALL_DIRECTORY})
file(GLOB_RECURSE programs ${top}/*/usr/bin/* ${top}/*/usr/lib/*.so)
foreach(program ${programs})
    execute_process(COMMAND ${CPACK_READELF_EXECUTABLE} --notes ${program} OUTPUT_VARIABLE notes
        COMMAND_ERROR_IS_FATAL ANY)
    if(NOT notes MATCHES "Build ID: ([0-9a-f][0-9a-f])([0-9a-f]+)")
        message(FATAL_ERROR "${program} has no build id")
    endif()
    set(folder ${top}/debug/usr/lib/debug/.build-id/${CMAKE_MATCH_1})
    set(kept ${folder}/${CMAKE_MATCH_2}.debug)
    file(MAKE_DIRECTORY ${folder})
    execute_process(COMMAND ${CPACK_OBJCOPY_EXECUTABLE} --only-keep-debug --compress-debug-sections ${program} ${kept}
        COMMAND_ERROR_IS_FATAL ANY)
    execute_process(COMMAND ${CPACK_OBJCOPY_EXECUTABLE} --strip-unneeded --remove-section=.comment ${program}
        COMMAND_ERROR_IS_FATAL ANY)
    file(CHMOD ${kept} PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
endforeach()

file(GLOB tops ${top}/*)
foreach(folder ${tops})
    file(CHMOD_RECURSE ${folder} DIRECTORY_PERMISSIONS
        OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
endforeach()
