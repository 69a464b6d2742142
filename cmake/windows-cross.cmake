# Toolchain: programs for 64-bit Windows, built on Debian by its MinGW-w64 cross compiler.
#
# ZOMU_WINDOWS_LIBRARIES are the folders that scripts/lib/windows-libraries.sh prints.

set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

# "posix" is the thread model: the other compiler has neither std::mutex nor OpenMP.
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

# The compiler's runtime libraries are linked statically: only Windows' own DLLs are imported.
set(CMAKE_EXE_LINKER_FLAGS_INIT -static)
set(CMAKE_SHARED_LINKER_FLAGS_INIT -static)

# Keeps libraries of the build machine from being used for the target.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ZOMU_WINDOWS_LIBRARIES)
set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32 ${ZOMU_WINDOWS_LIBRARIES})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
list(TRANSFORM ZOMU_WINDOWS_LIBRARIES APPEND /lib/pkgconfig OUTPUT_VARIABLE pkg_config_folders)
list(PREPEND pkg_config_folders /usr/x86_64-w64-mingw32/lib/pkgconfig)
list(JOIN pkg_config_folders ":" pkg_config_path)
set(ENV{PKG_CONFIG_LIBDIR} ${pkg_config_path})
set(PKG_CONFIG_ARGN --static)

# Wine runs the programs that the build and the tests need.
find_program(ZOMU_WINE NAMES wine64 wine PATHS /usr/lib/wine)
if(ZOMU_WINE)
    set(CMAKE_CROSSCOMPILING_EMULATOR ${ZOMU_WINE})
endif()
