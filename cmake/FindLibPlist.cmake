# LibPlist::LibPlist, the property lists' library on Linux. It ships no package description for CMake.

find_path(LibPlist_INCLUDE_DIR plist/plist.h)
find_library(LibPlist_LIBRARY NAMES plist-2.0 libplist-2.0.so.3)
mark_as_advanced(LibPlist_INCLUDE_DIR LibPlist_LIBRARY)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(LibPlist REQUIRED_VARS LibPlist_LIBRARY LibPlist_INCLUDE_DIR)
if(LibPlist_FOUND AND NOT TARGET LibPlist::LibPlist)
  add_library(LibPlist::LibPlist UNKNOWN IMPORTED)
  set_target_properties(LibPlist::LibPlist PROPERTIES
    IMPORTED_LOCATION "${LibPlist_LIBRARY}" INTERFACE_INCLUDE_DIRECTORIES "${LibPlist_INCLUDE_DIR}")
endif()
