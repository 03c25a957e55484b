# Run by CPack before it packs: the umask of who packs is not to show in the package's folders.
file(GLOB tops ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*)
foreach(top ${tops})
    file(CHMOD_RECURSE ${top} DIRECTORY_PERMISSIONS
        OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
endforeach()
