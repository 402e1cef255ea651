# The installation tree and its three Debian components:
#   runtime  the library and Log.so, which it loads from its own directory
#   dev      the header, the link-time .so, the pkg-config file, the CMake package
#            and the library's manual page
#   tools    siuctl, siusim (and siud where it is built), their manual pages
#            and that of the configuration file, the bash completion, the
#            examples and the udev rule
# Files only a Debian package needs (copyright, changelog, lintian overrides)
# are EXCLUDE_FROM_ALL: CPack installs them, a plain `cmake --install` does not.
include(CMakePackageConfigHelpers)

set(SIU_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/NorvaSensorBoard)
set(SIU_PACKAGING_DIR ${CMAKE_SOURCE_DIR}/packaging)

install(TARGETS NorvaSensorBoard EXPORT NorvaSensorBoardTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS Log LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime)
install(FILES ${CMAKE_SOURCE_DIR}/interface/NorvaSIU.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/NorvaSensorBoard COMPONENT dev)
install(TARGETS siuctl siusim RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
# siud, the WebSocket service, and its client are built only where their
# libraries are; with them go the example configuration and the systemd unit
# (an example: the unit names the site's own configuration file).
if(TARGET siud)
  install(TARGETS siud siud-client RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
  foreach(example examples/siud.ini tools/siud/siud.service)
    if(EXISTS ${CMAKE_SOURCE_DIR}/${example})
      install(FILES ${CMAKE_SOURCE_DIR}/${example} DESTINATION ${SIU_DOCDIR}/examples COMPONENT tools)
    endif()
  endforeach()
endif()

# --- CMake package: find_package(NorvaSensorBoard 1.0) -------------------------
install(EXPORT NorvaSensorBoardTargets NAMESPACE NorvaSensorBoard::
  DESTINATION ${SIU_CMAKE_DIR} COMPONENT dev)
configure_package_config_file(${SIU_PACKAGING_DIR}/NorvaSensorBoardConfig.cmake.in
  ${CMAKE_BINARY_DIR}/packaging/NorvaSensorBoardConfig.cmake
  INSTALL_DESTINATION ${SIU_CMAKE_DIR})
# The product version has four parts; only the major one is the promise.
write_basic_package_version_file(${CMAKE_BINARY_DIR}/packaging/NorvaSensorBoardConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/packaging/NorvaSensorBoardConfig.cmake
              ${CMAKE_BINARY_DIR}/packaging/NorvaSensorBoardConfigVersion.cmake
  DESTINATION ${SIU_CMAKE_DIR} COMPONENT dev)

# --- pkg-config ------------------------------------------------------------------
# Written at install time, with the prefix the tree is installed under (a
# --prefix given to `cmake --install`, /usr for the packages). The copy is
# made per destination, so that installs running side by side from one build
# tree do not overwrite each other's.
set(SIU_HOMEPAGE "https://sensorboard.norva.example/" CACHE STRING
    "Home page named by the pkg-config file and the packages")
install(CODE "
  set(SIU_PC_INCLUDEDIR \"${CMAKE_INSTALL_INCLUDEDIR}\")
  set(SIU_PC_LIBDIR \"${CMAKE_INSTALL_LIBDIR}\")
  set(SIU_PC_VERSION \"${PROJECT_VERSION}\")
  set(SIU_PC_URL \"${SIU_HOMEPAGE}\")
  string(SHA1 destination \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}\")
  set(pc_file \"${CMAKE_BINARY_DIR}/packaging/pc-\${destination}/NorvaSensorBoard.pc\")
  configure_file(\"${SIU_PACKAGING_DIR}/NorvaSensorBoard.pc.in\" \"\${pc_file}\" @ONLY)
  file(INSTALL DESTINATION \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/pkgconfig\"
       TYPE FILE FILES \"\${pc_file}\")
" COMPONENT dev)

include(${CMAKE_CURRENT_LIST_DIR}/ManPages.cmake)

# --- Tools: completion, examples, udev rule ------------------------------------------
install(FILES ${SIU_PACKAGING_DIR}/siuctl.bash-completion
  DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/bash-completion/completions RENAME siuctl
  COMPONENT tools)
install(FILES ${CMAKE_SOURCE_DIR}/examples/NorvaSensorBoard.ini
              ${CMAKE_SOURCE_DIR}/examples/siusim-board.ini
              ${SIU_PACKAGING_DIR}/99-norva-sensor-board.rules
  DESTINATION ${SIU_DOCDIR}/examples COMPONENT tools)

include(${CMAKE_CURRENT_LIST_DIR}/Packaging.cmake)
