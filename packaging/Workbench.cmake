# The workbench's tools, with manual pages and completion made by the tools themselves.
set(docdir share/doc/bt-infosync-workbench)
set(made)
foreach(tool infosync-tv infosync-cloud)
    set(page ${CMAKE_CURRENT_BINARY_DIR}/${tool}.1.gz)
    add_custom_command(OUTPUT ${page} DEPENDS ${tool} ${CMAKE_CURRENT_SOURCE_DIR}/make-manual VERBATIM
        COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/make-manual ${PROJECT_VERSION} ${page} ${CMAKE_CROSSCOMPILING_EMULATOR} $<TARGET_FILE:${tool}>)
    install(FILES ${page} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT workbench)
    list(APPEND made ${page})
    foreach(shell bash zsh)
        set(script ${CMAKE_CURRENT_BINARY_DIR}/${shell}/${tool})
        file(MAKE_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/${shell})
        add_custom_command(OUTPUT ${script} DEPENDS ${tool} VERBATIM
            COMMAND ${CMAKE_CROSSCOMPILING_EMULATOR} $<TARGET_FILE:${tool}> completion ${shell} > ${script})
        list(APPEND made ${script})
    endforeach()
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/bash/${tool} DESTINATION share/bash-completion/completions
        COMPONENT workbench)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/zsh/${tool} DESTINATION share/zsh/vendor-completions
        RENAME _${tool} COMPONENT workbench)
endforeach()
add_custom_target(workbench-documents ALL DEPENDS ${made})

install(TARGETS infosync-tv infosync-cloud RUNTIME COMPONENT workbench)
install_document(Workbench/README.md README.md ${docdir} workbench)
install_document(Workbench/Cloud/README.md infosync-cloud.md ${docdir} workbench)
install(FILES debian/copyright DESTINATION ${docdir} COMPONENT workbench)
install_compressed(${CMAKE_CURRENT_SOURCE_DIR}/debian/changelog changelog.gz ${docdir} workbench)
install_sbom(bt-infosync-workbench workbench glib-2.0 jsoncpp tinyxml2 openssl cpp-httplib CLI11 libjwt)
