# Makes the folders that CPack has filled, one a package, what Debian expects of packages.
#   CPACK_TEMPORARY_DIRECTORY, CPACK_DEBIAN_<component>_PACKAGE_NAME, CPACK_QEL_DEBIAN_FILES: set by CPack
#   CPACK_QEL_DEBIAN_CHANGELOG: the changelog
cmake_minimum_required(VERSION 3.25)
if(NOT CPACK_GENERATOR STREQUAL "DEB")
  return()
endif()

foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  set(root ${CPACK_TEMPORARY_DIRECTORY}/${component}/usr)
  string(TOUPPER ${component} upper_component)
  set(package ${CPACK_DEBIAN_${upper_component}_PACKAGE_NAME})
  set(documents ${root}/share/doc/${package})

  file(COPY ${CPACK_QEL_DEBIAN_FILES}/copyright DESTINATION ${documents})
  configure_file(${CPACK_QEL_DEBIAN_CHANGELOG} ${documents}/changelog COPYONLY)
  if(EXISTS ${CPACK_QEL_DEBIAN_FILES}/${package}.lintian-overrides)
    configure_file(${CPACK_QEL_DEBIAN_FILES}/${package}.lintian-overrides ${root}/share/lintian/overrides/${package} COPYONLY)
  endif()
  file(GLOB manuals ${root}/share/man/man1/*)
  foreach(file IN LISTS manuals ITEMS ${documents}/changelog)
    execute_process(COMMAND gzip -9nf ${file} COMMAND_ERROR_IS_FATAL ANY)
  endforeach()

  # The system's loader knows where the library lies; no program needs to say it.
  file(GLOB_RECURSE programs LIST_DIRECTORIES false ${root}/bin/* ${root}/lib/*.so.*.*.* ${root}/libexec/*)
  foreach(program IN LISTS programs)
    file(RPATH_REMOVE FILE ${program})
    execute_process(COMMAND strip --strip-unneeded --remove-section=.comment --remove-section=.note ${program}
                    COMMAND_ERROR_IS_FATAL ANY)
  endforeach()
  file(GLOB_RECURSE libraries LIST_DIRECTORIES false ${root}/lib/*.so.*.*.*)
  if(libraries)
    file(CHMOD ${libraries} PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
  endif()
endforeach()
