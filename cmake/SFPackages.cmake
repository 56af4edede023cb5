# Debian packages, one for each component that is built: `cpack -G DEB` in the build folder. What a package needs from
# other packages is read from its files (dpkg-shlibdeps).

set(SF_PACKAGES "")

# sf_package(COMPONENT PACKAGE SECTION DESCRIPTION [DEPENDENCY...]): dependencies are other packages of this build, by their
# components, which are of the same version.
function(sf_package component package section description)
  string(TOUPPER ${component} name)
  set(dependencies "")
  foreach(other IN LISTS ARGN)
    string(TOUPPER ${other} other)
    list(APPEND dependencies "${CPACK_DEBIAN_${other}_PACKAGE_NAME} (= ${PROJECT_VERSION})")
  endforeach()
  list(APPEND dependencies ${SF_EXTRA_DEPENDS})
  list(JOIN dependencies ", " dependencies)
  list(APPEND SF_PACKAGES ${component})
  set(SF_PACKAGES ${SF_PACKAGES} PARENT_SCOPE)
  set(CPACK_DEBIAN_${name}_PACKAGE_NAME ${package} PARENT_SCOPE)
  set(CPACK_DEBIAN_${name}_PACKAGE_SECTION ${section} PARENT_SCOPE)
  set(CPACK_DEBIAN_${name}_PACKAGE_DEPENDS "${dependencies}" PARENT_SCOPE)
  set(CPACK_COMPONENT_${name}_DESCRIPTION "Solid geometry as scalar fields: ${description}" PARENT_SCOPE)
  # Each package says what it may be used for.
  install(FILES "${PROJECT_SOURCE_DIR}/LICENSE" DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/doc/${package}"
    RENAME copyright COMPONENT ${component})
endfunction()

sf_package(library libsf0 libs "the library")
set(sf_libraries library)
if(TARGET SF_Modelling)
  sf_package(modelling libsf-modelling0 libs "fields that compose, shapes, formulae" library)
  list(APPEND sf_libraries modelling)
endif()
if(TARGET SF_Tools)
  sf_package(tools libsf-tools0 libs "meshes, pictures, volumes" library modelling)
  list(APPEND sf_libraries tools)
endif()
sf_package(dev libsf-dev libdevel "what programs are compiled with" ${sf_libraries})
if(TARGET sfdag)
  sf_package(host sfdag graphics "the command-line program" ${sf_libraries})
endif()
if(TARGET sf_python)
  set(SF_EXTRA_DEPENDS "python3 (>= 3.11)" "python3 (<< 3.12)" python3-numpy)
  sf_package(python python3-sf python "the Python module" ${sf_libraries})
  unset(SF_EXTRA_DEPENDS)
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_COMPONENTS_ALL ${SF_PACKAGES})
set(CPACK_PACKAGE_NAME sf)
set(CPACK_PACKAGE_VENDOR "SF")
set(CPACK_PACKAGE_CONTACT "The developers of SF <sf@example.org>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
# A package is linked with the others of the same build only.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY "=")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${PROJECT_BINARY_DIR}" "${PROJECT_BINARY_DIR}/modelling"
  "${PROJECT_BINARY_DIR}/tools")
set(CPACK_PACKAGE_DIRECTORY "${PROJECT_BINARY_DIR}/packages")
include(CPack)
