# Packages made with CPack from an installation of this build:
#   Linux    cpack -G DEB   (build/release: the library, orv and its manual
#                            page, headers, the CMake package, the pkg-config
#                            file, the NLS table and the services catalog
#                            under share/orvane, the system-wide ORVANE.INI)
#   Windows  cpack -G ZIP   (build/mingw64: the same tree for Windows, no
#                            system-wide profile: Windows reads ORVANE.INI
#                            from its own directory)
# The package installs under CMAKE_INSTALL_PREFIX of the configuration (the
# release preset sets /usr), because the library carries the paths of its
# system-wide profile compiled in.
set(CPACK_PACKAGE_NAME "orvane")
set(CPACK_PACKAGE_VENDOR "Orvane developers")
set(CPACK_PACKAGE_CONTACT "Orvane developers <orvane@example.org>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_PACKAGE_DESCRIPTION_FILE "${PROJECT_SOURCE_DIR}/README.md")
set(CPACK_PACKAGE_INSTALL_DIRECTORY "orvane")
set(CPACK_PACKAGE_DIRECTORY "${PROJECT_BINARY_DIR}/packages")

if(WIN32)
  set(CPACK_GENERATOR "ZIP")
  if(CMAKE_SIZEOF_VOID_P EQUAL 8)
    set(orvane_package_system "win64")
  else()
    set(orvane_package_system "win32")
  endif()
  set(CPACK_PACKAGE_FILE_NAME "orvane-${PROJECT_VERSION}-${orvane_package_system}")
  set(CPACK_INCLUDE_TOPLEVEL_DIRECTORY ON)
else()
  set(CPACK_GENERATOR "DEB")
  set(CPACK_PACKAGING_INSTALL_PREFIX "${CMAKE_INSTALL_PREFIX}")
  set(CPACK_DEBIAN_FILE_NAME "DEB-DEFAULT")
  set(CPACK_DEBIAN_PACKAGE_SECTION "libs")
  set(CPACK_DEBIAN_PACKAGE_PRIORITY "optional")
  # The first line of the description is CPACK_PACKAGE_DESCRIPTION_SUMMARY.
  set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
      "The shared library, the orv command-line tool, the headers, the CMake and pkg-config files, the default NLS table and the services message catalog, and a system-wide ORVANE.INI that names them.")
  # The run-time dependencies come from the binaries themselves
  # (dpkg-shlibdeps, Debian's dpkg-dev), else from a fixed list.
  find_program(ORVANE_DPKG_SHLIBDEPS dpkg-shlibdeps)
  if(ORVANE_DPKG_SHLIBDEPS)
    set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  else()
    set(CPACK_DEBIAN_PACKAGE_DEPENDS "libc6, libstdc++6, libgcc-s1")
  endif()
  # The system-wide profile is a configuration file: an upgrade keeps the
  # administrator's changes.
  file(WRITE ${PROJECT_BINARY_DIR}/debian/conffiles "${CMAKE_INSTALL_FULL_SYSCONFDIR}/orvane/ORVANE.INI\n")
  set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA "${PROJECT_BINARY_DIR}/debian/conffiles")
endif()

# The release build carries debug information (the interface record reads
# it); the packaged binaries are stripped of it.
set(CPACK_STRIP_FILES ON)
include(CPack)
