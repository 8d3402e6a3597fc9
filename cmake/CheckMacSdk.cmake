# Refuses a build for 32-bit Intel with an SDK of macOS that has no such libraries any more.

if("i386" IN_LIST CMAKE_OSX_ARCHITECTURES AND NOT CMAKE_TOOLCHAIN_FILE)
  set(sdk "${CMAKE_OSX_SYSROOT}")
  if(NOT sdk)
    execute_process(COMMAND xcrun --sdk macosx --show-sdk-path OUTPUT_VARIABLE sdk OUTPUT_STRIP_TRAILING_WHITESPACE)
  endif()
  set(i386_lines "")
  foreach(stub libSystem.tbd libSystem.B.tbd)
    if(EXISTS "${sdk}/usr/lib/${stub}")
      file(STRINGS "${sdk}/usr/lib/${stub}" i386_lines LIMIT_COUNT 1 REGEX "i386")
      break()
    endif()
  endforeach()
  if(NOT i386_lines)
    message(FATAL_ERROR
      "The SDK \"${sdk}\" cannot build for i386. Give the folder of the macOS 10.13 SDK (the last one that can) in the "
      "environment variable MACOS_10_13_SDK or as -DCMAKE_OSX_SYSROOT=FOLDER, or build for this Mac alone with the "
      "preset \"macos\".")
  endif()
endif()
