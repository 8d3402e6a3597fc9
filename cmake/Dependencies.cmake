# Finds the libraries that the system links: libxml2 for manifests; on Linux also utf8proc for letter case and canonical
# forms (the C library has neither full case mappings nor decomposition). hotfix_missing names all missing ones together.
#
# Also installed with the CMake package, because programs that link the library need the same libraries.

list(PREPEND CMAKE_MODULE_PATH ${CMAKE_CURRENT_LIST_DIR})  # FindUtf8Proc

# hotfix_library(CMAKE-NAME PKG-CONFIG-NAME DEBIAN-PACKAGE HOMEBREW-FORMULA)
set(hotfix_pkg_config_names "")
set(hotfix_debian_packages "")
set(hotfix_homebrew_formulas "")
set(hotfix_not_found "")
macro(hotfix_library name pkg_config_name debian_package homebrew_formula)
  list(APPEND hotfix_pkg_config_names ${pkg_config_name})
  list(APPEND hotfix_debian_packages ${debian_package})
  list(APPEND hotfix_homebrew_formulas ${homebrew_formula})
  find_package(${name} QUIET)
  if(NOT ${name}_FOUND)
    list(APPEND hotfix_not_found ${name})
  endif()
endmacro()

hotfix_library(LibXml2 libxml-2.0 libxml2-dev libxml2)
if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
  hotfix_library(Utf8Proc libutf8proc libutf8proc-dev utf8proc)
endif()
list(POP_FRONT CMAKE_MODULE_PATH)

set(hotfix_missing "")
if(hotfix_not_found)
  string(REPLACE ";" ", " hotfix_missing "${hotfix_not_found}")
  string(REPLACE ";" " " hotfix_packages "${hotfix_debian_packages}")
  string(REPLACE ";" " " hotfix_formulas "${hotfix_homebrew_formulas}")
  set(hotfix_missing "These libraries are missing: ${hotfix_missing}. \
On Debian: apt-get install ${hotfix_packages}. With Homebrew: brew install ${hotfix_formulas}.")
endif()
