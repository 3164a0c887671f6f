# The packages: for Debian one a component, for Windows one archive. scripts/package.sh builds them.
set(CPACK_PACKAGE_VENDOR "QEL File Cache authors")
set(CPACK_PACKAGE_CONTACT "QEL File Cache authors <qelfilecache@packages.example>")
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_COMPONENTS_ALL library tool development)
# The targets that are packaged are built by name, not with every test.
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON)

if(WIN32)
  set(CPACK_GENERATOR ZIP)
  set(CPACK_PACKAGE_FILE_NAME ${PROJECT_NAME}-${PROJECT_VERSION}-win64)
  set(CPACK_STRIP_FILES ON)
  include(CPack)
  return()
endif()

set(debian_files ${PROJECT_SOURCE_DIR}/packaging/debian)
configure_file(${debian_files}/changelog.in ${PROJECT_BINARY_DIR}/debian-changelog @ONLY)

set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_PRE_BUILD_SCRIPTS ${debian_files}/stage.cmake)
set(CPACK_POST_BUILD_SCRIPTS ${debian_files}/register_by_trigger.cmake)
# For these scripts: CPack hands on variables of its own names.
set(CPACK_QEL_DEBIAN_FILES ${debian_files})
set(CPACK_QEL_DEBIAN_CHANGELOG ${PROJECT_BINARY_DIR}/debian-changelog)

set(about "The cache hands a front end local copies of files on web servers and
network shares. A copy is trusted for a while, then compared with its
source, and served as it is while the source cannot be reached.
")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME lib${PROJECT_NAME}${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_RECOMMENDS "ca-certificates, libsmbclient")
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${debian_files}/triggers)
set(CPACK_DEBIAN_LIBRARY_DESCRIPTION "local copies of remote files (library)
${about}
This package contains the shared library and the program that accesses
shares for it.")

set(this_library "${CPACK_DEBIAN_LIBRARY_PACKAGE_NAME} (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME lib${PROJECT_NAME}-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS ${this_library})
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS "cmake, pkg-config")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "local copies of remote files (development)
${about}
This package contains what a host of the library is built with: headers
for C++ and C, a CMake package, a pkg-config file and example hosts.")

set(CPACK_DEBIAN_TOOL_PACKAGE_NAME ${PROJECT_NAME})
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS ${this_library})
set(CPACK_DEBIAN_TOOL_DESCRIPTION "local copies of remote files (command-line tool)
${about}
This package contains the program qelfilecache, which does the same for
administrators and scripts.")

include(CPack)
