# Utf8Proc::Utf8Proc: letter case and canonical forms on Linux. Debian's package has no description for CMake.

find_path(Utf8Proc_INCLUDE_DIR utf8proc.h)
find_library(Utf8Proc_LIBRARY NAMES utf8proc libutf8proc.so.2)
mark_as_advanced(Utf8Proc_INCLUDE_DIR Utf8Proc_LIBRARY)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(Utf8Proc REQUIRED_VARS Utf8Proc_LIBRARY Utf8Proc_INCLUDE_DIR)
if(Utf8Proc_FOUND AND NOT TARGET Utf8Proc::Utf8Proc)
  add_library(Utf8Proc::Utf8Proc UNKNOWN IMPORTED)
  set_target_properties(Utf8Proc::Utf8Proc PROPERTIES
    IMPORTED_LOCATION "${Utf8Proc_LIBRARY}" INTERFACE_INCLUDE_DIRECTORIES "${Utf8Proc_INCLUDE_DIR}")
endif()
