# Adds further architectures to the tools and the library. One build cannot have them all, because each may need a separate
# SDK and oldest system. Separate presets build the further architectures, in build/, and they are joined with the results
# of this build. The tools are signed last, because joining invalidates a signature. Tests and demo have only this build's
# architecture.

set(HOTFIX_FURTHER_SLICES "" CACHE STRING "Presets that build the programs and the library for one more architecture each")
if(HOTFIX_FURTHER_SLICES STREQUAL "")
  return()
endif()

if(CMAKE_TOOLCHAIN_FILE)
  find_program(HOTFIX_LIPO llvm-lipo-14 REQUIRED)
else()
  find_program(HOTFIX_LIPO lipo REQUIRED)
  find_program(HOTFIX_CODESIGN codesign REQUIRED)
endif()

set(slice_files hotfixUninstall hotfixInspect libhotfixUninstallLibrary.a)
set(slice_folders "")
set(build_slices "")
set(made_slices "")
foreach(preset IN LISTS HOTFIX_FURTHER_SLICES)
  # Configured immediately, so that an architecture that cannot be built is refused here.
  execute_process(COMMAND ${CMAKE_COMMAND} --preset ${preset}
      -DNLOHMANN_JSON_INCLUDE_FOLDER=${NLOHMANN_JSON_INCLUDE_FOLDER}
    WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
    OUTPUT_QUIET ERROR_VARIABLE reason RESULT_VARIABLE status)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "The slice of the preset ${preset} cannot be built.\n${reason}")
  endif()
  set(folder ${PROJECT_SOURCE_DIR}/build/${preset})
  list(APPEND slice_folders ${folder})
  list(APPEND build_slices
    COMMAND ${CMAKE_COMMAND} --build ${folder} --target hotfixUninstall hotfixInspect hotfixUninstallLibrary)
  foreach(file IN LISTS slice_files)
    list(APPEND made_slices ${folder}/${file})
  endforeach()
endforeach()
add_custom_target(further_slices ${build_slices} BYPRODUCTS ${made_slices}
  COMMENT "Building the slices of ${HOTFIX_FURTHER_SLICES}" VERBATIM)

foreach(target hotfixUninstall hotfixInspect hotfixUninstallLibrary)
  add_dependencies(${target} further_slices)
  set(others "")
  foreach(folder IN LISTS slice_folders)
    list(APPEND others ${folder}/$<TARGET_FILE_NAME:${target}>)
    set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${folder}/$<TARGET_FILE_NAME:${target}>)
  endforeach()
  set(joined $<TARGET_FILE:${target}>.joined)
  add_custom_command(TARGET ${target} POST_BUILD
    COMMAND ${HOTFIX_LIPO} -create $<TARGET_FILE:${target}> ${others} -output ${joined}
    COMMAND ${CMAKE_COMMAND} -E rename ${joined} $<TARGET_FILE:${target}>
    VERBATIM)
endforeach()
if(HOTFIX_CODESIGN)
  foreach(tool hotfixUninstall hotfixInspect)
    add_custom_command(TARGET ${tool} POST_BUILD
      COMMAND ${HOTFIX_CODESIGN} --force --sign - --identifier com.qor.${tool} $<TARGET_FILE:${tool}>
      VERBATIM)
  endforeach()
endif()
