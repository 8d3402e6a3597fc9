# Run by CPack on the tree that goes into a package: documents are compressed and lie where Debian has them.

if(NOT CPACK_GENERATOR STREQUAL "DEB")
  return()
endif()
set(tree ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/usr)
set(documents ${tree}/share/doc/hotfixuninstall)

function(compress)
  execute_process(COMMAND gzip -9n ${ARGN} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

file(RENAME ${tree}/share/doc/hotfixUninstall ${documents})
file(RENAME ${documents}/CHANGELOG.md ${documents}/changelog)
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

# Written anew, so that it does not have the mode that it has in the checkout.
file(READ ${CMAKE_CURRENT_LIST_DIR}/lintian-overrides overrides)
file(WRITE ${tree}/share/lintian/overrides/hotfixuninstall "${overrides}")
