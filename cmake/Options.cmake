# What every target of the project is compiled with.
add_library(qel_options INTERFACE)
target_include_directories(qel_options INTERFACE ${PROJECT_SOURCE_DIR})
target_link_libraries(qel_options INTERFACE Threads::Threads)

if(MSVC)
  # The exported classes hold standard types: host and library are built with one compiler and runtime.
  # The tracing macros need the standard's preprocessor, which the compiler uses only on request.
  target_compile_options(qel_options INTERFACE /W4 /permissive- /Zc:preprocessor /EHsc /wd4251 /wd4275)
  target_compile_definitions(qel_options INTERFACE _CRT_SECURE_NO_WARNINGS)
else()
  target_compile_options(qel_options INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
endif()

# What the product is compiled with besides: in a build with sanitizers its instrumentation, otherwise
# the hardening of Debian's own packages. (Fuzzers instrument everything themselves.)
add_library(qel_product_options INTERFACE)
if(WIN32)
  # <windows.h> without the macros min and max, and without what the project does not use.
  target_compile_options(qel_product_options INTERFACE -DNOMINMAX -DWIN32_LEAN_AND_MEAN)
endif()
if(QEL_SANITIZE)
  # Of what debuggers want, their reports need lines alone: that takes three quarters of the time.
  target_compile_options(qel_product_options INTERFACE -fsanitize=${QEL_SANITIZE} -fno-sanitize-recover=all
                                                       -fno-omit-frame-pointer -g1)
  target_link_options(qel_options INTERFACE -fsanitize=${QEL_SANITIZE})
elseif(MINGW)
  # Debuggers of Windows read nothing of -g; traces of the stack under Wine need lines.
  target_compile_options(qel_product_options INTERFACE -fstack-protector-strong -fcf-protection -g1)
  target_link_options(qel_options INTERFACE -fstack-protector-strong) # which brings the guard
elseif(NOT WIN32 AND NOT QEL_BUILD_FUZZ)
  target_compile_options(qel_product_options INTERFACE -fstack-protector-strong -U_FORTIFY_SOURCE
                                                       $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=2>)
  target_link_options(qel_product_options INTERFACE -Wl,-z,relro,-z,now)
endif()

if(QEL_COVERAGE)
  target_link_options(qel_options INTERFACE --coverage)
endif()

# qel_object_library(NAME SOURCE...): one layer of the library as objects, so that a test can link
# the layers it wants and put scripted services in the place of the others.
function(qel_object_library name)
  add_library(${name} OBJECT ${ARGN})
  target_link_libraries(${name} PUBLIC qel_options)
  target_compile_options(${name} PRIVATE $<TARGET_PROPERTY:qel_product_options,INTERFACE_COMPILE_OPTIONS>)
  if(QEL_SANITIZE)
    # Enough for small functions of the standard library to be part of the instrumented code.
    target_compile_options(${name} PRIVATE -O1)
  endif()
  target_compile_definitions(${name} PRIVATE QEL_FILECACHE_BUILDING)
  if(QEL_COVERAGE)
    # Counted line by line, so nothing is inlined or merged. The tests themselves are not counted.
    target_compile_options(${name} PRIVATE --coverage -fprofile-update=atomic -O0 -U_FORTIFY_SOURCE)
  endif()
endfunction()
