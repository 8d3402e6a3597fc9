# 32-bit programs on a 64-bit Linux. The compiler's own libraries come from g++-multilib, the others from
# build/i386/root, where scripts/fetch-i386-libraries unpacks them. The headers are the machine's: they are the same.

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(CMAKE_C_COMPILER gcc)
set(CMAKE_CXX_COMPILER g++)
set(CMAKE_C_FLAGS_INIT -m32)
set(CMAKE_CXX_FLAGS_INIT -m32)

get_filename_component(i386_root "${CMAKE_CURRENT_LIST_DIR}/../build/i386/root" ABSOLUTE)
set(i386_libraries "${i386_root}/usr/lib/i386-linux-gnu")

# Programs contain the path to the libraries. The libraries find each other by the same path, so it must not be a RUNPATH.
set(CMAKE_EXE_LINKER_FLAGS_INIT
  "-Wl,--disable-new-dtags,-rpath,${i386_libraries}:${i386_root}/lib/i386-linux-gnu")

# Named here because the machine's own libraries of these names have another word size, and the unpacked packages contain
# only names with a version.
set(LIBXML2_LIBRARY "${i386_libraries}/libxml2.so.2" CACHE FILEPATH "")
set(LIBXML2_INCLUDE_DIR /usr/include/libxml2 CACHE PATH "")
set(Utf8Proc_LIBRARY "${i386_libraries}/libutf8proc.so.2" CACHE FILEPATH "")
