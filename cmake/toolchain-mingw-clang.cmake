# The same cross build with clang. Headers, libraries, linker and resource compiler are those of the
# GCC cross compiler; clang 14 does not find them in Debian's "-posix" folder by itself.
include("${CMAKE_CURRENT_LIST_DIR}/toolchain-mingw.cmake")
file(GLOB gcc_folders /usr/lib/gcc/x86_64-w64-mingw32/*-posix)
if(NOT gcc_folders)
  message(FATAL_ERROR "The mingw-w64 GCC cross compiler with posix threads is not installed")
endif()
list(SORT gcc_folders COMPARE NATURAL)
list(GET gcc_folders -1 gcc_folder)
set(CMAKE_C_COMPILER clang)
set(CMAKE_C_COMPILER_TARGET x86_64-w64-mingw32)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_CXX_COMPILER_TARGET x86_64-w64-mingw32)
set(CMAKE_CXX_STANDARD_INCLUDE_DIRECTORIES
  "${gcc_folder}/include/c++" "${gcc_folder}/include/c++/x86_64-w64-mingw32")
# As GCC built its libstdc++: thread-local variables are emulated, and std::type_info compares in
# the library. GCC predefines the latter for this target, clang does not.
set(CMAKE_CXX_FLAGS_INIT "-femulated-tls -D__GXX_TYPEINFO_EQUALITY_INLINE=0")
# A static libstdc++ needs winpthreads at the end of the line, where only -pthread puts it. Libraries
# of resources link without both.
foreach(kind EXE SHARED MODULE)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT
    "-L${gcc_folder} -pthread -Wno-unused-command-line-argument")
endforeach()
# clang would prefer LLVM's tools if they happen to be installed.
foreach(tool AR RANLIB OBJCOPY STRIP)
  string(TOLOWER ${tool} name)
  set(CMAKE_${tool} x86_64-w64-mingw32-${name})
endforeach()
