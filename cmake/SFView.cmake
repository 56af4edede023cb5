# The page of `sfdag view`: its server, and the files that the browser loads, in the data directory of the program. Nothing
# is loaded from elsewhere at run time, so three.js comes along.

find_package(PkgConfig REQUIRED)
pkg_check_modules(HTTPLIB IMPORTED_TARGET cpp-httplib)
# Debian's libjs-three. Another copy of release 111 is named by SF_THREE_DIR.
find_path(SF_THREE_DIR build/three.module.js PATHS /usr/share/javascript/three NO_CACHE NO_CMAKE_FIND_ROOT_PATH)

set(SF_HAS_VIEW OFF)
if(NOT SF_BUILD_VIEW)
  message(STATUS "The page of sfdag view is left out (SF_BUILD_VIEW)")
elseif(NOT HTTPLIB_FOUND OR NOT SF_THREE_DIR)
  message(STATUS "The page of sfdag view is left out: it needs cpp-httplib and three.js (libcpp-httplib-dev, libjs-three)")
else()
  set(SF_HAS_VIEW ON)
endif()

# sf_add_view(TARGET): the page becomes a part of a program.
function(sf_add_view target)
  if(NOT SF_HAS_VIEW)
    target_sources(${target} PRIVATE ViewMissing.cpp)
    return()
  endif()
  target_sources(${target} PRIVATE ViewConnections.cpp ViewJobs.cpp ViewMesh.cpp ViewScript.cpp ViewServer.cpp
    ViewSource.cpp ViewText.cpp)
  target_link_libraries(${target} PRIVATE PkgConfig::HTTPLIB)
  # The same way from the program to the page in the build tree and where they are installed.
  file(RELATIVE_PATH from_program "${CMAKE_INSTALL_FULL_BINDIR}" "${CMAKE_INSTALL_FULL_DATADIR}/sfdag/view")
  target_compile_definitions(${target} PRIVATE SFDAG_VIEW_DIR="${from_program}")
  get_filename_component(folder "${CMAKE_CURRENT_BINARY_DIR}/${from_program}" ABSOLUTE)

  file(GLOB page CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/view/*")
  foreach(file IN LISTS page)
    get_filename_component(name "${file}" NAME)
    configure_file("${file}" "${folder}/${name}" COPYONLY)
  endforeach()
  foreach(file IN ITEMS build/three.module.js examples/jsm/controls/OrbitControls.js)
    configure_file("${SF_THREE_DIR}/${file}" "${folder}/three/${file}" COPYONLY)
  endforeach()
  install(DIRECTORY "${folder}/" DESTINATION "${CMAKE_INSTALL_DATADIR}/sfdag/view" COMPONENT host)
endfunction()
