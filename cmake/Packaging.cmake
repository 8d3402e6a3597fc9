# What `cpack` makes of the installed tree: an archive, and on Linux a Debian package. scripts/package runs it; for macOS
# there is scripts/package-mac.

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

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "remove a hotfix from an installed instance of a client platform")
set(CPACK_PACKAGE_DESCRIPTION "hotfixUninstall has the platform's own launcher remove an installed hotfix,
and clears what the hotfix's installer recorded. The package holds the
command, and the static library with its headers for installers that do the
same in-process.")
# Adapts the tree of the Debian package to Debian's rules.
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/debian/AdaptTree.cmake)
set(CPACK_VERBATIM_VARIABLES ON)

include(CPack)
