# CLI11 and nlohmann-json, which are headers alone: the installed ones, also where the compiler is a
# cross compiler that looks for headers of its own only.
include_guard(GLOBAL)

find_path(QEL_CLI11_DIR CLI/CLI.hpp PATHS /usr/include NO_CMAKE_FIND_ROOT_PATH REQUIRED)
find_path(QEL_JSON_DIR nlohmann/json.hpp PATHS /usr/include NO_CMAKE_FIND_ROOT_PATH REQUIRED)

add_library(qel_header_libraries INTERFACE)
if(CMAKE_HOST_WIN32)
  # Few users may make links there, and the two have folders of their own.
  target_include_directories(qel_header_libraries SYSTEM INTERFACE ${QEL_CLI11_DIR} ${QEL_JSON_DIR})
  return()
endif()

# A folder with these two and nothing else: the system's other headers must not come along.
set(QEL_HEADER_LIBRARIES_DIR ${PROJECT_BINARY_DIR}/header-libraries)
file(MAKE_DIRECTORY ${QEL_HEADER_LIBRARIES_DIR})
file(CREATE_LINK ${QEL_CLI11_DIR}/CLI ${QEL_HEADER_LIBRARIES_DIR}/CLI SYMBOLIC)
file(CREATE_LINK ${QEL_JSON_DIR}/nlohmann ${QEL_HEADER_LIBRARIES_DIR}/nlohmann SYMBOLIC)
target_include_directories(qel_header_libraries SYSTEM INTERFACE ${QEL_HEADER_LIBRARIES_DIR})
