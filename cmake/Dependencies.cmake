# The libraries that the system links, as imported targets. On Linux: libxml2 for manifests, libplist for XML and binary
# property lists, utf8proc for letter case and canonical forms (the C library knows neither full case mappings nor
# decomposition).

list(PREPEND CMAKE_MODULE_PATH ${CMAKE_CURRENT_LIST_DIR})  # FindLibPlist, FindUtf8Proc
set(dependencies LibXml2)
set(pc_dependencies libxml-2.0)  # the same, as pkg-config calls them
if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
  list(APPEND dependencies LibPlist Utf8Proc)
  list(APPEND pc_dependencies libplist-2.0 libutf8proc)
endif()
foreach(dependency IN LISTS dependencies)
  find_package(${dependency} REQUIRED)
endforeach()
