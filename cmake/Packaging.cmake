# The packages that `cpack` makes of the installed tree: an archive of all of it, and on Linux three Debian packages,
# hotfixuninstall for administrators, libhotfixuninstall-dev for authors of installers and hotfixuninstall-fleet for
# administrators of many machines. scripts/package runs it; for macOS there is scripts/package-mac.

set(CPACK_GENERATOR TGZ)
if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
  list(APPEND CPACK_GENERATOR DEB)
endif()
set(CPACK_PACKAGE_NAME hotfixUninstall)
set(CPACK_PACKAGE_FILE_NAME hotfixUninstall-${PROJECT_VERSION}-${CMAKE_SYSTEM_NAME}-${CMAKE_SYSTEM_PROCESSOR})
set(CPACK_PACKAGE_CONTACT "hotfixUninstall developers <hotfixuninstall@example.invalid>")
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_COMPONENTS_ALL tool development fleet)
set(CPACK_VERBATIM_VARIABLES ON)

# ----- Debian -----

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)  # one package for each component
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)

set(CPACK_DEBIAN_TOOL_PACKAGE_NAME hotfixuninstall)
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_TOOL_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_TOOL_DESCRIPTION "remove a hotfix from an installed instance of a client platform
hotfixUninstall has the platform's own launcher remove an installed hotfix,
and clears what the hotfix's installer recorded. hotfixInspect shows
beforehand what it would do, and afterwards whether it worked.")

# A program that links the archive needs the libraries that the archive links, and the C++ runtime, which a C compiler does
# not include.
string(REGEX MATCH "^[0-9]+" compiler_version "${CMAKE_CXX_COMPILER_VERSION}")
string(REPLACE ";" ", " library_packages "${hotfix_debian_packages}")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libhotfixuninstall-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
  "${library_packages}, libstdc++-${compiler_version}-dev | libstdc++-dev")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS "hotfixuninstall, pkgconf, cmake")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "library that removes a hotfix from a client platform
Installers link this static library to do what the command hotfixUninstall
does, in-process: by two C entries, or by C++17 classes.")

set(CPACK_DEBIAN_FLEET_PACKAGE_NAME hotfixuninstall-fleet)
set(CPACK_DEBIAN_FLEET_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_FLEET_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_FLEET_PACKAGE_RECOMMENDS "ansible-core (>= 2.14)")
set(CPACK_DEBIAN_FLEET_DESCRIPTION "remove a hotfix from a fleet of client platforms
The Ansible collection hotfix.removal has hotfixUninstall remove a hotfix
from many machines, and verifies each. With it come scripts for Munki, Jamf
Pro and other management systems of macOS.")

# Adapts the trees of the Debian packages to Debian's rules.
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/debian/AdaptTree.cmake)

include(CPack)
