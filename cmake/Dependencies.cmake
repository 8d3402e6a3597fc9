# The libraries that the system links, as imported targets. On Linux: libxml2 for manifests, utf8proc for letter case
# and canonical forms (the C library knows neither full case mappings nor decomposition).

list(PREPEND CMAKE_MODULE_PATH ${CMAKE_CURRENT_LIST_DIR})  # FindUtf8Proc
set(dependencies LibXml2)
# For pkg-config: the names of the same libraries, and what macOS has without any file for it.
if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
  list(APPEND dependencies Utf8Proc)
  set(pc_requires "libxml-2.0 libutf8proc")
  set(pc_system_libraries "")
else()
  set(pc_requires "")
  set(pc_system_libraries "-lxml2 -framework ApplicationServices -framework CoreFoundation")
endif()
foreach(dependency IN LISTS dependencies)
  find_package(${dependency} REQUIRED)
endforeach()
