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

configure_file(${PROJECT_SOURCE_DIR}/cmake/orvane.pc.in ${PROJECT_BINARY_DIR}/orvane.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/orvane.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# The default NLS table and its description, under share/orvane/.
install(FILES ${PROJECT_SOURCE_DIR}/data/orvane.nls ${PROJECT_SOURCE_DIR}/data/README.md
  DESTINATION ${CMAKE_INSTALL_DATADIR}/orvane)
