# Cross compiler for 32-bit Windows, where time_t is as long as on 64 bit. The runtime's functions that wait take the
# shorter one, so that is what timespec holds.
set(QEL_MACHINE i686)
set(QEL_WINE_RUNNER wine32-runner.sh)
foreach(language C CXX)
  set(CMAKE_${language}_FLAGS_INIT "-D__MINGW_USE_VC2005_COMPAT -D_TIMESPEC_DEFINED -Dtimespec=_timespec32")
endforeach()
include(${CMAKE_CURRENT_LIST_DIR}/mingw-w64.cmake)
