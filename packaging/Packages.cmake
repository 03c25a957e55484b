# How CPack makes an RPM for the set, or .debs for a Linux box with the desktop stand-ins.
set(CPACK_PACKAGE_VENDOR "The bt-infosync authors")
set(CPACK_PACKAGE_CONTACT "The bt-infosync authors <platform@quorlen.example>")
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_PACKAGE_RELOCATABLE OFF)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_SOURCE_DIR}/BeforePacking.cmake)
configure_file(PackTime.cmake.in PackTime.cmake @ONLY)
set(CPACK_PROJECT_CONFIG_FILE ${CMAKE_CURRENT_BINARY_DIR}/PackTime.cmake)
# Of a cross build it is the compiler's, not the machine's.
set(CPACK_OBJCOPY_EXECUTABLE ${CMAKE_OBJCOPY})
set(CPACK_READELF_EXECUTABLE ${CMAKE_READELF})
set(CPACK_COMPONENTS_ALL service debug)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE https://quorlen.example/bt-infosync)
if(CMAKE_LIBRARY_ARCHITECTURE)
    execute_process(COMMAND dpkg-architecture -t${CMAKE_LIBRARY_ARCHITECTURE} -qDEB_HOST_ARCH
        OUTPUT_VARIABLE CPACK_DEBIAN_PACKAGE_ARCHITECTURE OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
endif()

set(CPACK_DEBIAN_SERVICE_PACKAGE_NAME bt-infosync)
set(CPACK_DEBIAN_SERVICE_PACKAGE_SECTION misc)
# On a libcurl that is older the first request fails; its own dependency would allow one.
set(CPACK_DEBIAN_SERVICE_PACKAGE_DEPENDS "ca-certificates, libcurl4 (>= 7.87) | libcurl4t64, \
systemd | systemd-standalone-sysusers | systemd-sysusers")
set(CPACK_DEBIAN_SERVICE_PACKAGE_SUGGESTS "bluez, bt-infosync-workbench")
set(CPACK_DEBIAN_SERVICE_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_SOURCE_DIR}/debian/postinst
    ${CMAKE_CURRENT_SOURCE_DIR}/debian/prerm ${CMAKE_CURRENT_SOURCE_DIR}/debian/postrm)
set(CPACK_DEBIAN_SERVICE_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# The first line is the summary.
set(CPACK_COMPONENT_SERVICE_DESCRIPTION "keep a list of Bluetooth audio devices in step with the cloud
Runs once at start: it waits until somebody is signed in, gets the tokens
that it needs, downloads what changed of the user's Bluetooth devices, and
rebuilds the list that other programs read.
.
This package is for machines that are no television: a folder stands in for
the set, and its Bluetooth devices are a list or this machine's BlueZ.")

set(CPACK_DEBIAN_WORKBENCH_PACKAGE_NAME bt-infosync-workbench)
set(CPACK_DEBIAN_WORKBENCH_PACKAGE_SECTION devel)
set(CPACK_DEBIAN_WORKBENCH_PACKAGE_DEPENDS "bt-infosync (= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_WORKBENCH_DESCRIPTION "simulated televisions and a local cloud for bt-infosync
infosync-tv makes simulated televisions, runs the service on them and
shows what came out; infosync-cloud plays the authorisation server and the
cloud on this machine, faults included.")

set(CPACK_DEBIAN_DEBUG_PACKAGE_NAME bt-infosync-dbgsym)
set(CPACK_DEBIAN_DEBUG_PACKAGE_SECTION debug)
set(CPACK_DEBIAN_DEBUG_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_DEBUG_PACKAGE_DEPENDS "bt-infosync (= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_DEBUG_DESCRIPTION "debug symbols for bt-infosync and its workbench
What a debugger needs to show source lines and variables of the service and
of the workbench, for a crash on a machine where nothing was built.")

set(CPACK_RPM_FILE_NAME RPM-DEFAULT)
set(CPACK_RPM_COMPONENT_INSTALL ON)
set(CPACK_RPM_MAIN_COMPONENT service)
set(CPACK_RPM_PACKAGE_NAME bt-infosync)
set(CPACK_RPM_DEBUG_PACKAGE_NAME bt-infosync-debuginfo)
set(CPACK_RPM_DEBUG_PACKAGE_SUMMARY "Debug information for bt-infosync")
set(CPACK_RPM_DEBUG_PACKAGE_GROUP Development/Debug)
set(CPACK_RPM_DEBUG_PACKAGE_AUTOREQ OFF)
set(CPACK_RPM_PACKAGE_LICENSE Apache-2.0)
set(CPACK_RPM_PACKAGE_SUMMARY "Keeps a list of Bluetooth audio devices in step with the cloud")
set(CPACK_RPM_PACKAGE_DESCRIPTION "Runs once at start, after sign-in is possible, as an unprivileged user: it downloads
what changed of the user's Bluetooth devices and rebuilds the list that the set's
other components read.")
set(CPACK_RPM_PACKAGE_GROUP "Network & Connectivity/Bluetooth")
set(CPACK_RPM_PACKAGE_URL https://quorlen.example/bt-infosync)
set(CPACK_RPM_PACKAGE_AUTOREQ ON)
set(CPACK_RPM_CHANGELOG_FILE ${CMAKE_CURRENT_SOURCE_DIR}/rpm/changelog)
set(CPACK_RPM_SERVICE_POST_INSTALL_SCRIPT_FILE ${CMAKE_CURRENT_SOURCE_DIR}/rpm/post)
set(CPACK_RPM_SERVICE_PRE_UNINSTALL_SCRIPT_FILE ${CMAKE_CURRENT_SOURCE_DIR}/rpm/preun)
set(CPACK_RPM_SERVICE_POST_UNINSTALL_SCRIPT_FILE ${CMAKE_CURRENT_SOURCE_DIR}/rpm/postun)
set(CPACK_RPM_SERVICE_USER_FILELIST "%license /usr/share/licenses/bt-infosync/LICENSE" "%doc /usr/share/doc/bt-infosync/*")
set(CPACK_RPM_SPEC_MORE_DEFINE "%define _build_id_links none
%define packager ${CPACK_PACKAGE_CONTACT}
%define _buildhost reproducible
%define use_source_date_epoch_as_buildtime 1
%define clamp_mtime_to_source_date_epoch 1")
if(CMAKE_CROSSCOMPILING)
    set(CPACK_RPM_PACKAGE_ARCHITECTURE ${CMAKE_SYSTEM_PROCESSOR})
endif()
# These belong to the set's own packages.
set(CPACK_RPM_EXCLUDE_FROM_AUTO_FILELIST_ADDITION
    /usr/lib/systemd /usr/lib/systemd/system /usr/lib/systemd/system-preset /usr/share/doc /usr/share/licenses
    /usr/share/man /usr/share/man/man8 /usr/lib/debug /usr/lib/debug/.build-id)

if(INFOSYNC_PLATFORM STREQUAL tv)
    set(CPACK_GENERATOR RPM)
else()
    set(CPACK_GENERATOR DEB)
    if(TARGET infosync-tv)
        list(APPEND CPACK_COMPONENTS_ALL workbench)
    endif()
endif()
include(CPack)
