# CPack lets a library package call ldconfig in scripts of its own. The trigger of the package does that for all
# packages of an installation at once, so the scripts go.
cmake_minimum_required(VERSION 3.25)
if(NOT CPACK_GENERATOR STREQUAL "DEB")
  return()
endif()

foreach(package IN LISTS CPACK_PACKAGE_FILES)
  set(unpacked ${CPACK_TEMPORARY_DIRECTORY}/unpacked)
  file(REMOVE_RECURSE ${unpacked})
  execute_process(COMMAND dpkg-deb --raw-extract ${package} ${unpacked} COMMAND_ERROR_IS_FATAL ANY)
  if(EXISTS ${unpacked}/DEBIAN/triggers)
    file(REMOVE ${unpacked}/DEBIAN/postinst ${unpacked}/DEBIAN/postrm)
    execute_process(COMMAND dpkg-deb --root-owner-group -Zxz --build ${unpacked} ${package}
                    OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
  endif()
  file(REMOVE_RECURSE ${unpacked})
endforeach()
