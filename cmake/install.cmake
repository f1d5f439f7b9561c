# Installation: the library, its headers, a CMake package configuration
# (find_package(orvane) gives orvane::orvane) and a pkg-config file.
include(CMakePackageConfigHelpers)

install(TARGETS orvane EXPORT orvaneTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/orvane DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

install(EXPORT orvaneTargets
  NAMESPACE orvane::
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/orvane)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/orvaneConfig.cmake.in
  ${PROJECT_BINARY_DIR}/orvaneConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/orvane)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/orvaneConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/orvaneConfig.cmake ${PROJECT_BINARY_DIR}/orvaneConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/orvane)

# The prefix is found from the .pc file's own directory, so that the file
# also serves an installation moved elsewhere (a scratch root, a DESTDIR):
# as many ".." as <libdir>/pkgconfig has parts (lib/x86_64-linux-gnu on
# Debian with the prefix /usr).
file(RELATIVE_PATH ORVANE_PC_PREFIX_FROM_PCFILEDIR "/prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/prefix")
string(REGEX REPLACE "/$" "" ORVANE_PC_PREFIX_FROM_PCFILEDIR "${ORVANE_PC_PREFIX_FROM_PCFILEDIR}")
configure_file(${PROJECT_SOURCE_DIR}/cmake/orvane.pc.in ${PROJECT_BINARY_DIR}/orvane.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/orvane.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# The default NLS table and its description, under share/orvane/.
install(FILES ${PROJECT_SOURCE_DIR}/data/orvane.nls ${PROJECT_SOURCE_DIR}/data/README.md
  DESTINATION ${CMAKE_INSTALL_DATADIR}/orvane)

# The system-wide "ORVANE.INI" (POSIX): its [Services] section names the
# installed NLS table and services catalog, so that a program linked against
# the installed library initialises with no setting of its own. The library
# looks it up in <sysconfdir>/orvane, the directory fixed at build time
# (CMAKE_INSTALL_FULL_SYSCONFDIR), and the paths in it are the final ones of
# this configuration (CMAKE_INSTALL_FULL_DATADIR).
if(NOT WIN32)
  set(ORVANE_INSTALLED_NLS_TABLE "${CMAKE_INSTALL_FULL_DATADIR}/orvane/orvane.nls")
  set(ORVANE_INSTALLED_CATALOG "${CMAKE_INSTALL_FULL_DATADIR}/orvane/orvane.cat")
  configure_file(${PROJECT_SOURCE_DIR}/cmake/ORVANE.INI.in ${PROJECT_BINARY_DIR}/ORVANE.INI @ONLY)
  # An installation into the configured prefix (DESTDIR included, as a
  # package build does) puts the file where the library looks: the prefix
  # /usr keeps its configuration in /etc. An installation moved elsewhere
  # with `cmake --install --prefix` puts it under that prefix instead
  # (<prefix>/etc/orvane), never into the machine's /etc.
  install(CODE "
    if(CMAKE_INSTALL_PREFIX STREQUAL \"${CMAKE_INSTALL_PREFIX}\")
      set(orvane_profile_dir \"${CMAKE_INSTALL_FULL_SYSCONFDIR}/orvane\")
    else()
      set(orvane_profile_dir \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_SYSCONFDIR}/orvane\")
    endif()
    file(INSTALL DESTINATION \"\${orvane_profile_dir}\" TYPE FILE FILES \"${PROJECT_BINARY_DIR}/ORVANE.INI\")
  ")
endif()

# The manual page of the orv tool.
if(ORVANE_BUILD_TOOLS AND NOT WIN32)
  install(FILES ${PROJECT_SOURCE_DIR}/docs/orv.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
endif()
