# The API reference: Doxygen reads the public headers and writes HTML into
# <build>/docs/html. The docs target exists wherever doxygen is found; the
# warnings go to <build>/docs/doxygen-warnings.log, which tools/apidocs.sh
# checks for undocumented public names.
find_package(Doxygen QUIET)

if(DOXYGEN_FOUND)
  set(ORVANE_DOCS_OUTPUT ${PROJECT_BINARY_DIR}/docs)
  set(ORVANE_DOCS_WARNINGS ${ORVANE_DOCS_OUTPUT}/doxygen-warnings.log)
  configure_file(${PROJECT_SOURCE_DIR}/docs/Doxyfile.in ${ORVANE_DOCS_OUTPUT}/Doxyfile @ONLY)
  file(GLOB orvane_public_headers CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/include/orvane/*.h)
  add_custom_target(docs
    COMMAND ${CMAKE_COMMAND} -E remove -f ${ORVANE_DOCS_WARNINGS}
    COMMAND ${CMAKE_COMMAND} -E remove_directory ${ORVANE_DOCS_OUTPUT}/html
    COMMAND ${DOXYGEN_EXECUTABLE} ${ORVANE_DOCS_OUTPUT}/Doxyfile
    WORKING_DIRECTORY ${ORVANE_DOCS_OUTPUT}
    DEPENDS ${orvane_public_headers} ${ORVANE_DOCS_OUTPUT}/Doxyfile
    COMMENT "Building the API reference in ${ORVANE_DOCS_OUTPUT}/html"
    VERBATIM)
else()
  message(STATUS "doxygen not found: no docs target (bash tools/deps.sh --docs installs it)")
endif()
