# Refuses, with the reason, a build that the installed Xcode or SDK cannot do. The compiler or the linker would report it
# later and less clearly, or not at all. Sets the oldest system if the preset does not. Include it before project().
# docs/building-on-a-mac.md shows which Xcode can build which part.

# The version of Xcode, or of its command line tools; empty if it is unknown.
function(hotfix_xcode_version result)
  set(version "")
  execute_process(COMMAND xcodebuild -version OUTPUT_VARIABLE text ERROR_QUIET RESULT_VARIABLE status)
  if(status STREQUAL "0" AND text MATCHES "Xcode ([0-9.]+)")
    set(version ${CMAKE_MATCH_1})
  else()
    execute_process(COMMAND pkgutil --pkg-info com.apple.pkg.CLTools_Executables
      OUTPUT_VARIABLE text ERROR_QUIET RESULT_VARIABLE status)
    if(status STREQUAL "0" AND text MATCHES "version: ([0-9]+\\.[0-9]+)")
      set(version ${CMAKE_MATCH_1})
    endif()
  endif()
  set(${result} "${version}" PARENT_SCOPE)
endfunction()

# The folder of an SDK that is given as a folder or as a name; of the default SDK if none is given.
function(hotfix_sdk_folder given result)
  if(NOT IS_ABSOLUTE "${given}")
    if(given STREQUAL "")
      set(given macosx)
    endif()
    execute_process(COMMAND xcrun --sdk ${given} --show-sdk-path
      OUTPUT_VARIABLE given ERROR_QUIET OUTPUT_STRIP_TRAILING_WHITESPACE)
  endif()
  set(${result} "${given}" PARENT_SCOPE)
endfunction()

# Whether the SDK's stub of the system library supports this architecture.
function(hotfix_sdk_has sdk architecture result)
  set(${result} FALSE PARENT_SCOPE)
  foreach(stub libSystem.tbd libSystem.B.tbd)
    if(EXISTS "${sdk}/usr/lib/${stub}")
      file(STRINGS "${sdk}/usr/lib/${stub}" lines LIMIT_COUNT 1 REGEX "(^|[^a-z0-9_])${architecture}([^a-z0-9_]|$)")
      if(lines)
        set(${result} TRUE PARENT_SCOPE)
      endif()
      break()
    endif()
  endforeach()
endfunction()

# Whether C++17's headers are in the SDK or beside the compiler.
function(hotfix_has_cxx_headers sdk result)
  execute_process(COMMAND xcrun --find clang++ OUTPUT_VARIABLE compiler ERROR_QUIET OUTPUT_STRIP_TRAILING_WHITESPACE)
  get_filename_component(folder "${compiler}" DIRECTORY)
  set(${result} FALSE PARENT_SCOPE)
  if(EXISTS "${sdk}/usr/include/c++/v1/optional" OR EXISTS "${folder}/../include/c++/v1/optional")
    set(${result} TRUE PARENT_SCOPE)
  endif()
endfunction()

if(CMAKE_OSX_ARCHITECTURES AND NOT CMAKE_TOOLCHAIN_FILE)
  hotfix_xcode_version(hotfix_xcode)
  if("i386" IN_LIST CMAKE_OSX_ARCHITECTURES)
    set(hotfix_way_out "Build with Xcode 13, or without 32 bits: the preset \"macos-current\".")
    if(hotfix_xcode VERSION_GREATER_EQUAL 27)
      message(FATAL_ERROR "Xcode ${hotfix_xcode} cannot link for i386. ${hotfix_way_out}")
    endif()
    hotfix_sdk_folder("${CMAKE_OSX_SYSROOT}" hotfix_sdk)
    hotfix_sdk_has("${hotfix_sdk}" i386 hotfix_is_able)
    if(NOT hotfix_is_able)
      message(FATAL_ERROR
        "The SDK \"${hotfix_sdk}\" cannot build for i386. Give the folder of the macOS 10.13 SDK (the last one that can) in "
        "the environment variable MACOS_10_13_SDK or as -DCMAKE_OSX_SYSROOT=FOLDER, or build without 32 bits: the preset "
        "\"macos-current\".")
    endif()
    hotfix_has_cxx_headers("${hotfix_sdk}" hotfix_is_able)
    if(NOT hotfix_is_able)
      message(FATAL_ERROR
        "Neither the SDK \"${hotfix_sdk}\" nor Xcode ${hotfix_xcode} has the headers of C++17: an SDK before that of macOS "
        "11.3 takes those of the compiler, which Xcode has up to 14.2. ${hotfix_way_out}")
    endif()
  endif()
  if("arm64" IN_LIST CMAKE_OSX_ARCHITECTURES)
    hotfix_sdk_folder("${CMAKE_OSX_SYSROOT}" hotfix_sdk)
    hotfix_sdk_has("${hotfix_sdk}" "arm64e?" hotfix_is_able)
    if(NOT hotfix_is_able)
      message(FATAL_ERROR "The SDK \"${hotfix_sdk}\" cannot build for arm64. Give that of macOS 11 or later, from Xcode 12 on.")
    endif()
  endif()

  # The oldest system of each line of Xcode. The compiler accepts an older system too, but then silently uses functions of
  # the C++ library that do not exist there.
  set(hotfix_oldest 10.9)
  foreach(line "14 10.13" "26 11.0" "27 12.0")
    string(REPLACE " " ";" line "${line}")
    list(GET line 0 hotfix_from)
    if(hotfix_xcode VERSION_GREATER_EQUAL hotfix_from)
      list(GET line 1 hotfix_oldest)
    endif()
  endforeach()
  if(NOT CMAKE_OSX_DEPLOYMENT_TARGET AND "arm64" IN_LIST CMAKE_OSX_ARCHITECTURES)
    set(hotfix_floor 11.0)  # there is no older system on Apple silicon
    if(hotfix_oldest VERSION_GREATER hotfix_floor)
      set(hotfix_floor ${hotfix_oldest})
    endif()
    set(CMAKE_OSX_DEPLOYMENT_TARGET ${hotfix_floor} CACHE STRING "The oldest macOS that the product runs on" FORCE)
  elseif(CMAKE_OSX_DEPLOYMENT_TARGET AND CMAKE_OSX_DEPLOYMENT_TARGET VERSION_LESS hotfix_oldest)
    message(FATAL_ERROR
      "Xcode ${hotfix_xcode} builds for macOS ${hotfix_oldest} and later, not for ${CMAKE_OSX_DEPLOYMENT_TARGET}. Build with "
      "Xcode 13, or give -DCMAKE_OSX_DEPLOYMENT_TARGET=${hotfix_oldest}.")
  endif()
endif()
