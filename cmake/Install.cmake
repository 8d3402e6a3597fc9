# The files that `cmake --install` installs: the tool, the static library, its headers, a CMake package, a pkg-config file,
# the manual pages, documents and completions for shells. The installed tree can be moved. The components are Debian's
# packages: "tool" for administrators, "development" for authors of installers.

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/hotfixUninstall)
set(pkg_config_folder ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
set(header_folder ${CMAKE_INSTALL_INCLUDEDIR}/hotfixUninstall)

# ----- For administrators -----

set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME tool)

# The installed tool also finds a library in a folder that the system does not search. On a Mac, each library contains its
# own path, and the folder at link time is that of an SDK.
if(CMAKE_SYSTEM_NAME STREQUAL "Darwin")
  set_target_properties(hotfixUninstall hotfixInspect PROPERTIES SKIP_BUILD_RPATH ON)
else()
  set_target_properties(hotfixUninstall hotfixInspect PROPERTIES INSTALL_RPATH_USE_LINK_PATH ON)
endif()
install(TARGETS hotfixUninstall hotfixInspect RUNTIME DESTINATION ${CMAKE_INSTALL_SBINDIR})

install(FILES docs/man/hotfixUninstall.8 docs/man/hotfixInspect.8 DESTINATION ${CMAKE_INSTALL_MANDIR}/man8)
install(FILES docs/man/hotfixUninstall.5 DESTINATION ${CMAKE_INSTALL_MANDIR}/man5)

# Completions, in the folders below the prefix that the shells search.
foreach(program hotfixUninstall hotfixInspect)
  install(FILES completions/${program}.bash RENAME ${program}
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
  install(FILES completions/_${program} DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions)
  install(FILES completions/${program}.fish DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
endforeach()

# All documents are in one folder, and the links between them are adapted.
set(installed_documents CHANGELOG.md SECURITY.md docs/file-formats.md docs/inspect.md docs/sequence.md
  docs/sequence.svg docs/sequence.txt docs/troubleshooting.md)
foreach(document IN LISTS installed_documents)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${document})
  get_filename_component(name ${document} NAME)
  file(READ ${document} text)
  string(REPLACE "](../" "](" text "${text}")
  file(WRITE ${PROJECT_BINARY_DIR}/documents/${name} "${text}")
  install(FILES ${PROJECT_BINARY_DIR}/documents/${name} DESTINATION ${CMAKE_INSTALL_DOCDIR})
endforeach()
install(FILES docs/hotfixInspect.schema.json DESTINATION ${CMAKE_INSTALL_DOCDIR})

# ----- For authors of installers -----

set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME development)

install(TARGETS hotfixUninstallLibrary EXPORT hotfixUninstallTargets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} INCLUDES DESTINATION ${header_folder})

# The libraries that a C compiler does not link by default: the runtime of this C++ compiler, including mathematics.
set(cxx_runtime ${CMAKE_CXX_IMPLICIT_LINK_LIBRARIES})
list(FILTER cxx_runtime INCLUDE REGEX "^((std)?c\\+\\+|m)$")
list(REMOVE_DUPLICATES cxx_runtime)
target_link_libraries(hotfixUninstallLibrary INTERFACE "$<INSTALL_INTERFACE:${cxx_runtime}>")

# Programs include the C entries as "hotifxUninstallLibrary.h" and the classes as in this tree, for example
# "MacInstaller/InstanceService.h". Of the lower layers, only the headers that the classes' headers include are installed.
install(FILES MacInstaller/hotifxUninstallLibrary.h DESTINATION ${header_folder})
install(FILES
  MacInstaller/Configuration.h
  MacInstaller/HotfixUninstall.h
  MacInstaller/InstallManifest.h
  MacInstaller/InstallUtil.h
  MacInstaller/InstanceService.h
  MacInstaller/JavaProperties.h
  MacInstaller/Properties.h
  MacInstaller/Reasons.h
  MacInstaller/StringUtil.h
  DESTINATION ${header_folder}/MacInstaller)
install(FILES Platform/FileManager.h Platform/Ownership.h DESTINATION ${header_folder}/Platform)
install(FILES Support/OptionalString.h Support/PropertyListValue.h Support/StepResult.h DESTINATION ${header_folder}/Support)

# The second name of a page is a link to it.
install(FILES docs/man/RCPUninstallHotfixEx.3 docs/man/RCPUninstallHotfix.3 docs/man/RCPUninstallHotfixReason.3
  DESTINATION ${CMAKE_INSTALL_MANDIR}/man3)
install(FILES examples/CMakeLists.txt examples/layout.cpp examples/uninstall.c
  DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples)

install(EXPORT hotfixUninstallTargets NAMESPACE hotfixUninstall:: DESTINATION ${package_folder})
configure_package_config_file(cmake/hotfixUninstallConfig.cmake.in ${PROJECT_BINARY_DIR}/hotfixUninstallConfig.cmake
  INSTALL_DESTINATION ${package_folder} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/hotfixUninstallConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/hotfixUninstallConfig.cmake
  ${PROJECT_BINARY_DIR}/hotfixUninstallConfigVersion.cmake
  cmake/Dependencies.cmake
  cmake/FindUtf8Proc.cmake
  DESTINATION ${package_folder})

# For pkg-config, with the folders relative to the file itself. Requires names the libraries that the archive links; Libs
# names those without such a file. Nothing is private, so that a program that links the archive, and shared libraries for
# the rest, does not need --static.
file(RELATIVE_PATH pc_prefix /${pkg_config_folder} /)
string(REGEX REPLACE "/$" "" pc_prefix "${pc_prefix}")
set(pc_requires ${hotfix_pkg_config_names})
list(TRANSFORM cxx_runtime PREPEND -l OUTPUT_VARIABLE pc_libraries)
if(CMAKE_SYSTEM_NAME STREQUAL "Darwin")
  set(pc_requires "")  # the system has the library, but no pkg-config file for it
  list(PREPEND pc_libraries -lxml2 "-framework ApplicationServices" "-framework CoreFoundation")
endif()
string(REPLACE ";" " " pc_requires "${pc_requires}")
string(REPLACE ";" " " pc_libraries "${pc_libraries}")
configure_file(cmake/hotfixUninstall.pc.in ${PROJECT_BINARY_DIR}/hotfixUninstall.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/hotfixUninstall.pc DESTINATION ${pkg_config_folder})

# ----- For fleets: the Ansible collection, in the folder below /usr that Ansible searches, and scripts for Mac administrators -----

set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME fleet)
install(DIRECTORY fleet/ansible/ DESTINATION ${CMAKE_INSTALL_DATADIR}/ansible/collections/ansible_collections/hotfix/removal
  PATTERN tests EXCLUDE PATTERN ".*" EXCLUDE PATTERN __pycache__ EXCLUDE)
install(DIRECTORY fleet/mac DESTINATION ${CMAKE_INSTALL_DATADIR}/hotfixUninstall USE_SOURCE_PERMISSIONS)
install(FILES docs/fleet.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
