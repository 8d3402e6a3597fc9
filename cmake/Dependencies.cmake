# The libraries that the system links, as imported targets. On Linux: libxml2 for manifests, libplist for XML and binary
# property lists, utf8proc for letter case and canonical forms (the C library knows neither full case mappings nor
# decomposition).

list(PREPEND CMAKE_MODULE_PATH ${CMAKE_CURRENT_LIST_DIR})  # FindLibPlist, FindUtf8Proc
set(dependencies LibXml2)
# For pkg-config: the names of the same libraries, and what macOS has without any file for it.
if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
  list(APPEND dependencies LibPlist Utf8Proc)
  set(pc_requires "libxml-2.0 libplist-2.0 libutf8proc")
  set(pc_system_libraries "")
else()
  set(pc_requires "")
  set(pc_system_libraries "-lxml2 -framework ApplicationServices -framework CoreFoundation")
endif()
foreach(dependency IN LISTS dependencies)
  find_package(${dependency} REQUIRED)
endforeach()

# nlohmann/json, headers only, for the documents of hotfixInspect. Alone in a folder: a cross build must not find the
# machine's other headers beside it.
find_path(NLOHMANN_JSON_INCLUDE_FOLDER nlohmann/json.hpp PATHS /usr/include /usr/local/include /opt/homebrew/include
  NO_CMAKE_FIND_ROOT_PATH REQUIRED)
file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/nlohmannJson)
file(CREATE_LINK ${NLOHMANN_JSON_INCLUDE_FOLDER}/nlohmann ${PROJECT_BINARY_DIR}/nlohmannJson/nlohmann SYMBOLIC)
add_library(nlohmannJson INTERFACE)
target_include_directories(nlohmannJson SYSTEM INTERFACE ${PROJECT_BINARY_DIR}/nlohmannJson)
