# The reference of the headers (target docs), where doxygen is installed. The tests build it too, since a warning fails it.

find_program(SF_DOXYGEN doxygen)
if(NOT SF_DOXYGEN)
  message(STATUS "The reference of the headers is left out: it needs doxygen")
  return()
endif()
set(folders PublicInterfaces PrivateInterfaces ProtectedInterfaces HostMath modelling tools docs/reference.md)
list(TRANSFORM folders REPLACE "(.+)" "\"${PROJECT_SOURCE_DIR}/\\1\"")
list(JOIN folders " " SF_REFERENCE_INPUT)
configure_file("${PROJECT_SOURCE_DIR}/docs/Doxyfile.in" "${PROJECT_BINARY_DIR}/Doxyfile" @ONLY)
add_custom_target(docs COMMAND "${SF_DOXYGEN}" "${PROJECT_BINARY_DIR}/Doxyfile" VERBATIM
  COMMENT "The reference of the headers, ${PROJECT_BINARY_DIR}/reference/html/index.html")
if(BUILD_TESTING AND NOT CMAKE_CROSSCOMPILING)
  add_test(NAME Documents.Reference COMMAND "${SF_DOXYGEN}" "${PROJECT_BINARY_DIR}/Doxyfile")
endif()
