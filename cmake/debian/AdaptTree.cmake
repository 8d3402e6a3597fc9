# CPack runs this on the trees of the packages. In Debian's packages, documents are compressed and are in the package's own
# folder, each package has a changelog, and lintian gets the reasons for its findings.

if(NOT CPACK_GENERATOR STREQUAL "DEB")
  return()
endif()

function(compress)
  execute_process(COMMAND gzip -9n ${ARGN} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

file(GLOB changelog ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/tool/usr/share/doc/*/CHANGELOG.md)
file(READ ${changelog} changelog_text)
file(REMOVE ${changelog})

foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${component} prefix)
  set(package ${CPACK_DEBIAN_${prefix}_PACKAGE_NAME})
  set(tree ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/${component}/usr)
  set(documents ${tree}/share/doc/${package})

  # The files written here get the modes of scripts/package's umask.
  file(RENAME ${tree}/share/doc/hotfixUninstall ${documents})
  file(WRITE ${documents}/changelog "${changelog_text}")
  compress(${documents}/changelog)

  file(GLOB_RECURSE pages ${tree}/share/man/*)
  foreach(page IN LISTS pages)
    if(IS_SYMLINK ${page})
      file(READ_SYMLINK ${page} target)
      file(REMOVE ${page})
      file(CREATE_LINK ${target}.gz ${page}.gz SYMBOLIC)
    else()
      compress(${page})
    endif()
  endforeach()

  file(READ ${CMAKE_CURRENT_LIST_DIR}/${package}.lintian-overrides overrides)
  file(WRITE ${tree}/share/lintian/overrides/${package} "${overrides}")
endforeach()
