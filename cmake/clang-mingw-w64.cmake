# Cross compilation for 64-bit Windows with clang: the headers and libraries are
# those of MinGW-w64's GCC.
include("${CMAKE_CURRENT_LIST_DIR}/mingw-w64.cmake")

set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_C_COMPILER_TARGET x86_64-w64-windows-gnu)
set(CMAKE_CXX_COMPILER_TARGET x86_64-w64-windows-gnu)

# clang looks for GCC's C++ library where the POSIX variant does not put it.
file(GLOB gcc_folder LIST_DIRECTORIES true /usr/lib/gcc/x86_64-w64-mingw32/*-posix)
set(CMAKE_CXX_STANDARD_INCLUDE_DIRECTORIES
    "${gcc_folder}/include/c++" "${gcc_folder}/include/c++/x86_64-w64-mingw32"
    "${gcc_folder}/include/c++/backward")
# Variables of a thread as GCC lays them out: std::call_once has some in libstdc++. The comparison of two
# type_infos is that of libstdc++.a, as for GCC here; compiled into every object it would be defined twice.
set(CMAKE_CXX_FLAGS_INIT "-femulated-tls -D__GXX_TYPEINFO_EQUALITY_INLINE=0")
# libstdc++ needs libpthread, which only GCC itself adds to the link.
foreach(kind EXE SHARED)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT
      "-fuse-ld=lld -L${gcc_folder} -lpthread")
endforeach()
