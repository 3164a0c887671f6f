# Cross compiler for 64-bit Windows, with POSIX threads for the standard library's mutex.
if(NOT DEFINED QEL_MACHINE)
  set(QEL_MACHINE x86_64)
  set(QEL_WINE_RUNNER wine-runner.sh)
endif()
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR ${QEL_MACHINE})
set(CMAKE_CXX_COMPILER ${QEL_MACHINE}-w64-mingw32-g++-posix)
set(CMAKE_C_COMPILER ${QEL_MACHINE}-w64-mingw32-gcc-posix)
set(CMAKE_RC_COMPILER ${QEL_MACHINE}-w64-mingw32-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${QEL_MACHINE}-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)

# The compiler's own libraries become part of each program and DLL: they need only what Windows has.
set(CMAKE_EXE_LINKER_FLAGS_INIT -static)
set(CMAKE_SHARED_LINKER_FLAGS_INIT -static)

# The tests run under Wine.
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/${QEL_WINE_RUNNER})
