# The same target and the same C++ library by clang, for its warnings; only `./dev lint` uses it.
include(${CMAKE_CURRENT_LIST_DIR}/mingw-w64-gcc.cmake)
file(GLOB gcc_folders /usr/lib/gcc/x86_64-w64-mingw32/*-posix)
list(GET gcc_folders 0 gcc_folder)
set(CMAKE_C_COMPILER clang)
set(CMAKE_C_COMPILER_TARGET x86_64-w64-mingw32)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_CXX_COMPILER_TARGET x86_64-w64-mingw32)
set(CMAKE_CXX_FLAGS_INIT
    "-nostdinc++ -isystem ${gcc_folder}/include/c++ -isystem ${gcc_folder}/include/c++/x86_64-w64-mingw32 -isystem ${gcc_folder}/include/c++/backward"
)
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
