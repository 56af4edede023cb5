# The installed tree as a host finds it. A program that is not instrumented cannot load an instrumented library, so
# that the sanitizer builds list these tests as disabled.

include(GNUInstallDirs)
set(stage "${CMAKE_CURRENT_BINARY_DIR}/installed")
set(consumer "${CMAKE_CURRENT_SOURCE_DIR}/consumer")

add_test(NAME Packaging.Install
  COMMAND "${CMAKE_COMMAND}" -D "BUILD_DIR=${PROJECT_BINARY_DIR}" -D "STAGE=${stage}" -P "${consumer}/Stage.cmake")
set_tests_properties(Packaging.Install PROPERTIES FIXTURES_SETUP installed)

# Headers that a source of the library includes before anything else bring what they need. The consumer tries the
# others.
file(GLOB_RECURSE sources CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/src/*.cpp")
set(tried_headers "")
foreach(source IN LISTS sources)
  file(STRINGS "${source}" first_include REGEX "^#include" LIMIT_COUNT 1)
  if(first_include MATCHES "\"([^\"]+)\"")
    list(APPEND tried_headers "${CMAKE_MATCH_1}")
  endif()
endforeach()
list(JOIN tried_headers "," tried_headers)
set(header_dirs ${SF_HEADER_DIRS})
if(SF_BUILD_MODELLING)
  list(APPEND header_dirs modelling)
endif()
if(SF_BUILD_TOOLS)
  list(APPEND header_dirs tools)
endif()
list(TRANSFORM header_dirs PREPEND "${PROJECT_SOURCE_DIR}/")
list(JOIN header_dirs "," header_dirs)

add_test(NAME Packaging.FindPackage
  COMMAND "${CMAKE_CTEST_COMMAND}" --build-and-test "${consumer}" "${CMAKE_CURRENT_BINARY_DIR}/consumer"
          --build-generator "${CMAKE_GENERATOR}"
          --build-options "-DCMAKE_PREFIX_PATH=${stage}" "-DCMAKE_CXX_COMPILER=${CMAKE_CXX_COMPILER}"
                          "-DCMAKE_CXX_FLAGS=-Wall -Wextra -Wpedantic -Werror"
                          "-DTRIED_HEADERS=${tried_headers}" "-DHEADER_DIRS=${header_dirs}"
          --test-command consumer)
add_test(NAME Packaging.PkgConfig
  COMMAND "${consumer}/pkg_config.sh" "${CMAKE_CXX_COMPILER}" "${stage}" "${CMAKE_INSTALL_LIBDIR}"
          "${consumer}/main.cpp" "${CMAKE_CURRENT_BINARY_DIR}/pkg_config_consumer")
add_test(NAME Packaging.NeededLibraries
  COMMAND "${consumer}/needed_libraries.sh" "${stage}/${CMAKE_INSTALL_LIBDIR}/libSF.so")
set(installed_tests Packaging.FindPackage Packaging.PkgConfig Packaging.NeededLibraries)
if(TARGET sfdag)
  add_test(NAME Packaging.InstalledHost COMMAND "${stage}/${CMAKE_INSTALL_BINDIR}/sfdag" eval -x f2 --at 0 0 0)
  list(APPEND installed_tests Packaging.InstalledHost)
endif()
set_tests_properties(${installed_tests} PROPERTIES FIXTURES_REQUIRED installed)
set_tests_properties(Packaging.Install Packaging.FindPackage PROPERTIES COST 20)

if(SF_SANITIZE)
  set_tests_properties(Packaging.Install ${installed_tests} PROPERTIES DISABLED TRUE)
endif()
