# Cross compiler for 32-bit Windows, where time_t is as long as on 64 bit.
set(QEL_MACHINE i686)
set(QEL_WINE_RUNNER wine32-runner.sh)
set(CMAKE_C_FLAGS_INIT -D__MINGW_USE_VC2005_COMPAT)
set(CMAKE_CXX_FLAGS_INIT -D__MINGW_USE_VC2005_COMPAT)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-w64.cmake)
