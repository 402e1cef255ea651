# Installation directories. On a multiarch system (Debian and its kind) the
# library goes to lib/<triplet> under any prefix, not only under /usr: the
# dynamic linker searches /usr/local/lib/<triplet> as well, and the packages,
# built from the same tree with the prefix /usr, get the directory Debian
# expects. Set CMAKE_INSTALL_LIBDIR on the command line to choose another.
# A build tree configured before this rule holds GNUInstallDirs' own "lib",
# recognisable by its help text; that one is replaced too.
get_property(siu_libdir_help CACHE CMAKE_INSTALL_LIBDIR PROPERTY HELPSTRING)
if(CMAKE_LIBRARY_ARCHITECTURE AND (NOT DEFINED CACHE{CMAKE_INSTALL_LIBDIR}
   OR (CMAKE_INSTALL_LIBDIR STREQUAL "lib" AND siu_libdir_help STREQUAL "Object code libraries (lib)")))
  set(CMAKE_INSTALL_LIBDIR "lib/${CMAKE_LIBRARY_ARCHITECTURE}" CACHE PATH
      "Object code libraries (lib/<triplet> on a multiarch system)" FORCE)
endif()
include(GNUInstallDirs)

# The Debian package names: the runtime package carries the soname.
set(SIU_RUNTIME_PACKAGE libnorvasensorboard${SIU_ABI_VERSION})
set(SIU_DEV_PACKAGE libnorvasensorboard-dev)
set(SIU_TOOLS_PACKAGE norvasensorboard-tools)
# Examples, the udev rule and the tools' documentation go with the tools.
set(SIU_DOCDIR ${CMAKE_INSTALL_DATAROOTDIR}/doc/${SIU_TOOLS_PACKAGE})
