# Target build_flags: the flags with which every source of the project is compiled.

add_library(build_flags INTERFACE)
target_compile_features(build_flags INTERFACE cxx_std_17)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_STANDARD 17)
set(CMAKE_C_STANDARD 11)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

# Paths in includes start at the top of the tree: "Platform/FileManager.h".
target_include_directories(build_flags INTERFACE ${PROJECT_SOURCE_DIR})

# The same file sizes and offsets in 32 bits as in 64.
target_compile_definitions(build_flags INTERFACE _FILE_OFFSET_BITS=64)
if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
  target_compile_definitions(build_flags INTERFACE
    _TIME_BITS=64  # the same for times: without it, a file with a time after 2038 cannot even be examined
    _GNU_SOURCE)   # posix_spawn's closefrom action, O_PATH, renameat2
endif()

target_compile_options(build_flags INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion)
if(HOTFIX_WARNINGS_AS_ERRORS)
  target_compile_options(build_flags INTERFACE -Werror)
endif()

if(HOTFIX_SANITIZE)
  target_compile_options(build_flags INTERFACE
    -fsanitize=${HOTFIX_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(build_flags INTERFACE -fsanitize=${HOTFIX_SANITIZE})
endif()
