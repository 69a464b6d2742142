# Toolchain: programs for 64-bit ARM, built on Debian by its cross compiler and run by QEMU.
#
# ZOMU_AARCH64_ROOT is the folder that scripts/lib/aarch64-libraries.sh prints.

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)

# Keeps libraries of the build machine from being used for the target.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ZOMU_AARCH64_ROOT)
if(NOT ZOMU_AARCH64_ROOT)
    message(FATAL_ERROR "ZOMU_AARCH64_ROOT is not set. scripts/check.sh aarch64 sets it.")
endif()
set(CMAKE_SYSROOT ${ZOMU_AARCH64_ROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${ZOMU_AARCH64_ROOT})
set(ENV{PKG_CONFIG_LIBDIR}
    ${ZOMU_AARCH64_ROOT}/usr/lib/aarch64-linux-gnu/pkgconfig:${ZOMU_AARCH64_ROOT}/usr/share/pkgconfig)

# QEMU runs the programs that the build and the tests need, with the target's own loader and libraries.
find_program(ZOMU_QEMU qemu-aarch64)
if(ZOMU_QEMU)
    set(CMAKE_CROSSCOMPILING_EMULATOR ${ZOMU_QEMU} -L ${ZOMU_AARCH64_ROOT})
endif()
