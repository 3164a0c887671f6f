# What an installation holds, in three components: "library" is what a program needs at run time, "tool" the
# command-line program, "development" what a host is compiled with. Everything finds its neighbours by relative
# paths, so an installation may be moved as a whole.
include(CMakePackageConfigHelpers)
# What is installed is built by name, not with every test.
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON)

# The CMake package: find_package(qelfilecache) and the target qel::filecache.
set(QEL_PACKAGE_FOLDER ${CMAKE_INSTALL_LIBDIR}/cmake/qelfilecache)
set_target_properties(qelfilecache PROPERTIES EXPORT_NAME filecache)
install(TARGETS qelfilecache EXPORT qelfilecache
  RUNTIME COMPONENT library
  LIBRARY COMPONENT library NAMELINK_COMPONENT development
  ARCHIVE COMPONENT development
  FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qelfilecache COMPONENT development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qelfilecache
)
# Where hosts of 1.0 include headers that have moved since.
install(DIRECTORY cmake/moved_headers/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qelfilecache COMPONENT development)
install(EXPORT qelfilecache
  FILE qelfilecacheTargets.cmake
  NAMESPACE qel::
  DESTINATION ${QEL_PACKAGE_FOLDER}
  COMPONENT development
)
configure_package_config_file(
  ${CMAKE_CURRENT_LIST_DIR}/qelfilecacheConfig.cmake.in ${PROJECT_BINARY_DIR}/qelfilecacheConfig.cmake
  INSTALL_DESTINATION ${QEL_PACKAGE_FOLDER}
  NO_SET_AND_CHECK_MACRO
)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/qelfilecacheConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(
  FILES ${PROJECT_BINARY_DIR}/qelfilecacheConfig.cmake ${PROJECT_BINARY_DIR}/qelfilecacheConfigVersion.cmake
  DESTINATION ${QEL_PACKAGE_FOLDER}
  COMPONENT development
)

# The same for pkg-config.
set(pkgconfig_folder ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH QEL_PREFIX_FROM_PKGCONFIG ${pkgconfig_folder} ${CMAKE_INSTALL_PREFIX})
file(RELATIVE_PATH QEL_LIBDIR_FROM_PREFIX ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_LIBDIR})
file(RELATIVE_PATH QEL_INCLUDEDIR_FROM_PREFIX ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_INCLUDEDIR})
configure_file(${CMAKE_CURRENT_LIST_DIR}/qelfilecache.pc.in ${PROJECT_BINARY_DIR}/qelfilecache.pc @ONLY)
install(
  FILES ${PROJECT_BINARY_DIR}/qelfilecache.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  COMPONENT development
)

if(WIN32)
  # The C interface for compilers that cannot use the import library.
  install(FILES filecache/c/qelfilecache_c.def DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)

  install(FILES tools/qelfilecache/completion/qelfilecache.ps1 DESTINATION ${CMAKE_INSTALL_DATADIR}/qelfilecache COMPONENT tool)

  # The configuration for group policies, from its page.
  find_package(Python3 REQUIRED COMPONENTS Interpreter)
  set(QEL_POLICY_FOLDER ${PROJECT_BINARY_DIR}/PolicyDefinitions)
  set(policy_sources ${PROJECT_SOURCE_DIR}/packaging/windows/policy.py ${PROJECT_SOURCE_DIR}/docs/configuration.md)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${policy_sources})
  execute_process(COMMAND ${Python3_EXECUTABLE} ${policy_sources} ${QEL_POLICY_FOLDER} COMMAND_ERROR_IS_FATAL ANY)
  install(DIRECTORY ${QEL_POLICY_FOLDER} DESTINATION . COMPONENT tool)
elseif(QEL_BUILD_TOOL)
  # What the tool's users read and press.
  install(FILES docs/man/qelfilecache.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tool)
  install(
    FILES tools/qelfilecache/completion/qelfilecache
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
    COMPONENT tool
  )
endif()

# Whose work is compiled in.
install(FILES debian/copyright DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT library)
if(MINGW)
  string(REPLACE _ - machine ${CMAKE_SYSTEM_PROCESSOR})
  install(FILES /usr/share/doc/mingw-w64-${machine}-dev/copyright
    DESTINATION ${CMAKE_INSTALL_DOCDIR} RENAME copyright.mingw-w64 COMPONENT library)
endif()

# The documents lie as they do in the source tree, so that the links between them hold.
install(FILES README.md CHANGELOG.md CONTRIBUTING.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT tool)
install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs COMPONENT tool FILES_MATCHING
  PATTERN "*.md" PATTERN "*.ini" PATTERN "*.png" PATTERN "*.svg" PATTERN man EXCLUDE)
install(DIRECTORY examples/host examples/host_c DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples COMPONENT development)

# The archive for Windows; debian/ makes the Debian packages. scripts/package.sh builds both.
if(WIN32)
  set(CPACK_GENERATOR ZIP)
  set(CPACK_PACKAGE_VENDOR "QEL File Cache authors")
  math(EXPR bits "8 * ${CMAKE_SIZEOF_VOID_P}")
  set(CPACK_PACKAGE_FILE_NAME ${PROJECT_NAME}-${PROJECT_VERSION}-win${bits})
  set(CPACK_VERBATIM_VARIABLES ON)
  set(CPACK_STRIP_FILES ON)
  include(CPack)
endif()
