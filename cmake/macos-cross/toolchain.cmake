# The macOS product on a Debian machine: clang, lld and libc++ of LLVM 14 with the sysroot that make-sysroot makes. See
# README.md here. A Mac never uses this file.

set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
# -arch selects the architecture for the compiler and overrides the x86_64 in the targets below.
set(CMAKE_OSX_ARCHITECTURES x86_64 CACHE STRING "x86_64, arm64, or i386 (compiled only: no linker for it)")
set(CMAKE_OSX_DEPLOYMENT_TARGET 10.10 CACHE STRING "")
get_filename_component(sysroot "${CMAKE_CURRENT_LIST_DIR}/../../build/macos-sysroot" ABSOLUTE)
set(CMAKE_OSX_SYSROOT "${sysroot}" CACHE PATH "")

set(CMAKE_C_COMPILER clang-14)
set(CMAKE_CXX_COMPILER clang++-14)
set(CMAKE_C_COMPILER_TARGET x86_64-apple-macosx)
set(CMAKE_CXX_COMPILER_TARGET x86_64-apple-macosx)
# The C headers declare functions of _Float16, a type that this compiler does not have on Intel. The compiler's own copy of
# libc++ would precede the one in the sysroot, which knows the releases of macOS that have each function.
set(CMAKE_C_FLAGS_INIT "-D_Float16=float -Wunguarded-availability")
set(CMAKE_CXX_FLAGS_INIT
  "-stdlib=libc++ -stdlib++-isystem ${sysroot}/usr/include/c++/v1 -D_Float16=float -Wunguarded-availability")
# Apple's linker signs only for Apple silicon. So does this one without this option.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-fuse-ld=lld -Wl,-adhoc_codesign")
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
set(CMAKE_AR llvm-ar-14)
set(CMAKE_RANLIB llvm-ranlib-14)
set(CMAKE_INSTALL_NAME_TOOL llvm-install-name-tool-14)

set(CMAKE_FIND_ROOT_PATH "${sysroot}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
