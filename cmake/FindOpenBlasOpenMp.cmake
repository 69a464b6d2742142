# Finds the only build of OpenBLAS that this project supports.
#
# Why just this one: the serial build returns wrong products when several threads call it at once; the
# pthread build starts threads of its own; and the shared libopenblas.so.0 is whatever build the
# machine's administrator, or the host process, has chosen. See docs/decisions.md.
#
#   on Linux                  the static archive of the OpenMP build, in the folder of its Debian package
#   cross-built for Windows   the archive that scripts/lib/windows-libraries.sh builds
#   natively on Windows       what the package manager's own CMake file names, which uses its own threads
#                             instead of OpenMP's; blas.cpp tells it to start none
#
# Sets the imported target OpenBlasOpenMp::OpenBlasOpenMp.

if(CMAKE_HOST_WIN32)
    find_package(OpenBLAS CONFIG QUIET)
    set(required OpenBLAS_FOUND)
    set(advice "Install OpenBLAS with vcpkg; vcpkg.json lists it with the right features.")
elseif(WIN32)
    # The toolchain file confines both to the folders of ZOMU_WINDOWS_LIBRARIES.
    find_path(OpenBlasOpenMp_INCLUDE_DIR cblas.h)
    find_library(OpenBlasOpenMp_LIBRARY libopenblas.a)
    set(required OpenBlasOpenMp_LIBRARY OpenBlasOpenMp_INCLUDE_DIR)
    set(advice "Run scripts/check.sh windows, which builds it.")
else()
    find_path(OpenBlasOpenMp_INCLUDE_DIR cblas.h
        PATHS /usr/include/${CMAKE_LIBRARY_ARCHITECTURE}/openblas-openmp
        NO_DEFAULT_PATH)
    find_library(OpenBlasOpenMp_LIBRARY libopenblas.a
        PATHS /usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}/openblas-openmp
        NO_DEFAULT_PATH)
    set(required OpenBlasOpenMp_LIBRARY OpenBlasOpenMp_INCLUDE_DIR)
    set(advice "Install the Debian package libopenblas-openmp-dev (or run scripts/install-dependencies.sh).")
endif()
mark_as_advanced(OpenBlasOpenMp_INCLUDE_DIR OpenBlasOpenMp_LIBRARY)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(OpenBlasOpenMp
    REQUIRED_VARS ${required}
    REASON_FAILURE_MESSAGE "OpenBLAS's OpenMP build is missing. ${advice} \
No other build of OpenBLAS will do: the serial one gives wrong products when several threads call it.")

if(OpenBlasOpenMp_FOUND AND NOT TARGET OpenBlasOpenMp::OpenBlasOpenMp)
    if(CMAKE_HOST_WIN32)
        add_library(OpenBlasOpenMp::OpenBlasOpenMp INTERFACE IMPORTED)
        set_target_properties(OpenBlasOpenMp::OpenBlasOpenMp PROPERTIES
            INTERFACE_COMPILE_DEFINITIONS ZOMU_BLAS_OWN_THREADS
            INTERFACE_LINK_LIBRARIES "OpenBLAS::OpenBLAS;OpenMP::OpenMP_CXX")
    else()
        add_library(OpenBlasOpenMp::OpenBlasOpenMp STATIC IMPORTED)
        set_target_properties(OpenBlasOpenMp::OpenBlasOpenMp PROPERTIES
            IMPORTED_LOCATION ${OpenBlasOpenMp_LIBRARY}
            INTERFACE_INCLUDE_DIRECTORIES ${OpenBlasOpenMp_INCLUDE_DIR}
            INTERFACE_LINK_LIBRARIES OpenMP::OpenMP_CXX)
    endif()
endif()
