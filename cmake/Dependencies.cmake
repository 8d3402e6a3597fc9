# The libraries that the system links, as imported targets. On Linux: libxml2 for manifests, libplist for XML and binary
# property lists, utf8proc for letter case and canonical forms (the C library knows neither full case mappings nor
# decomposition).

find_package(LibXml2 REQUIRED)

if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
  find_path(LibPlist_INCLUDE_DIR plist/plist.h REQUIRED)
  find_library(LibPlist_LIBRARY NAMES plist-2.0 libplist-2.0.so.3 REQUIRED)
  add_library(LibPlist::LibPlist UNKNOWN IMPORTED)
  set_target_properties(LibPlist::LibPlist PROPERTIES
    IMPORTED_LOCATION "${LibPlist_LIBRARY}" INTERFACE_INCLUDE_DIRECTORIES "${LibPlist_INCLUDE_DIR}")

  find_path(Utf8Proc_INCLUDE_DIR utf8proc.h REQUIRED)
  find_library(Utf8Proc_LIBRARY NAMES utf8proc libutf8proc.so.2 REQUIRED)
  add_library(Utf8Proc::Utf8Proc UNKNOWN IMPORTED)
  set_target_properties(Utf8Proc::Utf8Proc PROPERTIES
    IMPORTED_LOCATION "${Utf8Proc_LIBRARY}" INTERFACE_INCLUDE_DIRECTORIES "${Utf8Proc_INCLUDE_DIR}")
endif()
