# Debian packages cut from the install tree by CPack, one per component:
#   cpack --config build/CPackConfig.cmake -B <output directory>
# The build must be configured for the prefix the packages install into
# (/usr, CPack's default for DEB); the library directory is the multiarch one
# whatever the prefix (cmake/InstallDirs.cmake).
set(SIU_PACKAGE_MAINTAINER "libNorvaSensorBoard maintainers <maintainers@users.noreply.c-seed-c92ba8dc.example>"
    CACHE STRING "Maintainer named by the Debian packages")
set(SIU_DEBIAN_REVISION 1 CACHE STRING "Debian revision of the packages")
set(SIU_DEBIAN_VERSION ${PROJECT_VERSION}-${SIU_DEBIAN_REVISION})

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME norvasensorboard)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "Norva")
set(CPACK_PACKAGE_CONTACT ${SIU_PACKAGE_MAINTAINER})
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL runtime dev tools)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE ${SIU_DEBIAN_REVISION})
set(CPACK_DEBIAN_PACKAGE_MAINTAINER ${SIU_PACKAGE_MAINTAINER})
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE ${SIU_HOMEPAGE})
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
# Depends from the binaries' own needs (dpkg-shlibdeps), and a shlibs file
# so that packages built against the library depend on this version or later.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${SIU_RUNTIME_PACKAGE})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
# dpkg's ldconfig trigger refreshes the linker cache, as Debian's library
# packages do. (CPack also writes postinst and postrm scripts that call
# ldconfig; redundant beside the trigger, and harmless.)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${SIU_PACKAGING_DIR}/runtime/triggers)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION
"driver library of the self-service terminal's sensor board
libNorvaSensorBoard drives the sensor board of a self-service banking
terminal over its serial line: doors, locks, electronic keys, tamper and
environment sensors, module positions and cassettes, indicator lights, the
buzzer, the electronic-key port and the timed remote power cycle.
.
This package holds the shared library and Log.so, the logging library it
loads from its own directory.")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME ${SIU_DEV_PACKAGE})
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "${SIU_RUNTIME_PACKAGE} (= ${SIU_DEBIAN_VERSION})")
set(CPACK_COMPONENT_DEV_DESCRIPTION
"development files of the sensor-board driver library
libNorvaSensorBoard drives the sensor board of a self-service banking
terminal over its serial line.
.
This package holds the C header NorvaSensorBoard/NorvaSIU.h, the pkg-config
file, the CMake package (NorvaSensorBoard::NorvaSensorBoard) and the
library's manual page.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME ${SIU_TOOLS_PACKAGE})
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
# siuctl loads the library at run time, which shlibdeps cannot see.
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${SIU_RUNTIME_PACKAGE} (>= ${SIU_DEBIAN_VERSION})")
set(siu_siud_description "")
if(TARGET siud)
  set(siu_siud_description " siud serves the
board's services as XFS4IoT Auxiliaries and Lights services over WebSocket
(an example systemd unit is included); siud-client talks to it.")
endif()
set(CPACK_COMPONENT_TOOLS_DESCRIPTION
"command-line tool and board simulator for the sensor-board driver
siuctl drives one service of libNorvaSensorBoard from the command line:
the board's items and their states, indicators, buzzer, motion time, a watch
of every change. siusim simulates the board on a pseudo-terminal, so that an
application can be developed and tested without a terminal.${siu_siud_description}
.
This package also holds the manual page of the configuration file, an
example configuration with the simulator's matching board file, an example
udev rule and the bash completion of siuctl.")

# What only a package carries: its copyright, its changelog and lintian's
# overrides, in the package's own documentation directory.
configure_file(${SIU_PACKAGING_DIR}/changelog.in ${CMAKE_BINARY_DIR}/packaging/changelog @ONLY)
add_custom_command(OUTPUT ${CMAKE_BINARY_DIR}/packaging/changelog.Debian.gz
  COMMAND gzip -9nc ${CMAKE_BINARY_DIR}/packaging/changelog > ${CMAKE_BINARY_DIR}/packaging/changelog.Debian.gz
  DEPENDS ${CMAKE_BINARY_DIR}/packaging/changelog VERBATIM)
add_custom_target(debian_changelog ALL DEPENDS ${CMAKE_BINARY_DIR}/packaging/changelog.Debian.gz)
foreach(component runtime dev tools)
  string(TOUPPER ${component} upper)
  set(package ${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
  install(FILES ${SIU_PACKAGING_DIR}/copyright ${CMAKE_BINARY_DIR}/packaging/changelog.Debian.gz
    DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${package}
    COMPONENT ${component} EXCLUDE_FROM_ALL)
  if(EXISTS ${SIU_PACKAGING_DIR}/lintian-overrides.${component})
    install(FILES ${SIU_PACKAGING_DIR}/lintian-overrides.${component}
      DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/lintian/overrides RENAME ${package}
      COMPONENT ${component} EXCLUDE_FROM_ALL)
  endif()
endforeach()

include(CPack)
