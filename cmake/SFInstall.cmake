# Installation: the library; its headers, flat under include/SF; the licence; the package files of find_package(SF CONFIG)
# and of pkg-config. The headers are those that stand directly in the four folders: what hosts may use, and what that
# includes. Those in sub-folders are internal. All paths are relative to the place of the files themselves, so that the
# tree may be moved as a whole.

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(SF_CMAKE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/SF")
set(SF_PKGCONFIG_DIR "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

set(SF_PKGCONFIG_TEMPLATE "${CMAKE_CURRENT_LIST_DIR}/SF.pc.in")
file(RELATIVE_PATH SF_PKGCONFIG_TO_PREFIX "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig" "${CMAKE_INSTALL_PREFIX}")
string(REGEX REPLACE "/$" "" SF_PKGCONFIG_TO_PREFIX "${SF_PKGCONFIG_TO_PREFIX}")
list(JOIN SF_FLOATING_POINT_OPTIONS " " SF_PKGCONFIG_CFLAGS)

# Each library is a component of its own, and what programs are compiled with another: the parts that packages are made of.
# sf_install_library(TARGET COMPONENT DESCRIPTION [REQUIRED]): the last is the library that it stands on, for pkg-config.
function(sf_install_library target component description)
  install(TARGETS ${target} EXPORT SFTargets LIBRARY COMPONENT ${component} NAMELINK_COMPONENT dev)
  get_target_property(SF_PC_NAME ${target} OUTPUT_NAME)
  if(NOT SF_PC_NAME)
    set(SF_PC_NAME ${target})
  endif()
  set(SF_PC_DESCRIPTION "${description}")
  set(SF_PC_REQUIRES "${ARGN}")
  configure_file("${SF_PKGCONFIG_TEMPLATE}" "${PROJECT_BINARY_DIR}/${SF_PC_NAME}.pc" @ONLY)
  install(FILES "${PROJECT_BINARY_DIR}/${SF_PC_NAME}.pc" DESTINATION "${SF_PKGCONFIG_DIR}" COMPONENT dev)
endfunction()
function(sf_install_headers folder)
  file(GLOB headers CONFIGURE_DEPENDS "${folder}/*.h")
  install(FILES ${headers} DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/SF" COMPONENT dev)
endfunction()

sf_install_library(SF library "${PROJECT_DESCRIPTION}")
target_include_directories(SF INTERFACE "$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/SF>")
target_compile_options(SF INTERFACE "$<INSTALL_INTERFACE:${SF_FLOATING_POINT_OPTIONS}>")
foreach(dir IN LISTS SF_HEADER_DIRS)
  sf_install_headers("${PROJECT_SOURCE_DIR}/${dir}")
endforeach()

install(FILES "${PROJECT_SOURCE_DIR}/LICENSE" DESTINATION "${CMAKE_INSTALL_DOCDIR}" COMPONENT dev)

install(EXPORT SFTargets NAMESPACE SF:: DESTINATION "${SF_CMAKE_DIR}" COMPONENT dev)
configure_package_config_file("${CMAKE_CURRENT_LIST_DIR}/SFConfig.cmake.in" "${PROJECT_BINARY_DIR}/SFConfig.cmake"
  INSTALL_DESTINATION "${SF_CMAKE_DIR}" NO_SET_AND_CHECK_MACRO)
# Before version 1 a new minor version may change the interface.
write_basic_package_version_file("${PROJECT_BINARY_DIR}/SFConfigVersion.cmake" COMPATIBILITY SameMinorVersion)
install(FILES "${PROJECT_BINARY_DIR}/SFConfig.cmake" "${PROJECT_BINARY_DIR}/SFConfigVersion.cmake"
        DESTINATION "${SF_CMAKE_DIR}" COMPONENT dev)

# Programs installed beside the library, and libraries in one folder, find each other wherever they are moved to.
file(RELATIVE_PATH SF_BIN_TO_LIB "${CMAKE_INSTALL_FULL_BINDIR}" "${CMAKE_INSTALL_FULL_LIBDIR}")
set(CMAKE_INSTALL_RPATH "$ORIGIN;$ORIGIN/${SF_BIN_TO_LIB}")
