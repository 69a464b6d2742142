# Finds the static archive of OpenBLAS's OpenMP build, and nothing else.
#
# Why just this one: the serial build returns wrong products when several threads call it at once; the
# pthread build starts threads of its own; and the shared libopenblas.so.0 is whatever build the
# machine's administrator, or the host process, has chosen. See docs/decisions.md.
#
# Sets the imported target OpenBlasOpenMp::OpenBlasOpenMp.

find_path(OpenBlasOpenMp_INCLUDE_DIR cblas.h
    PATHS /usr/include/${CMAKE_LIBRARY_ARCHITECTURE}/openblas-openmp
    NO_DEFAULT_PATH)
find_library(OpenBlasOpenMp_LIBRARY libopenblas.a
    PATHS /usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}/openblas-openmp
    NO_DEFAULT_PATH)
mark_as_advanced(OpenBlasOpenMp_INCLUDE_DIR OpenBlasOpenMp_LIBRARY)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(OpenBlasOpenMp
    REQUIRED_VARS OpenBlasOpenMp_LIBRARY OpenBlasOpenMp_INCLUDE_DIR
    REASON_FAILURE_MESSAGE "The static archive of OpenBLAS's OpenMP build is missing. \
Install the Debian package libopenblas-openmp-dev (or run scripts/install-dependencies.sh). \
Another build of OpenBLAS is no substitute: the serial one gives wrong products under threads.")

if(OpenBlasOpenMp_FOUND AND NOT TARGET OpenBlasOpenMp::OpenBlasOpenMp)
    add_library(OpenBlasOpenMp::OpenBlasOpenMp STATIC IMPORTED)
    set_target_properties(OpenBlasOpenMp::OpenBlasOpenMp PROPERTIES
        IMPORTED_LOCATION ${OpenBlasOpenMp_LIBRARY}
        INTERFACE_INCLUDE_DIRECTORIES ${OpenBlasOpenMp_INCLUDE_DIR}
        INTERFACE_LINK_LIBRARIES OpenMP::OpenMP_CXX)
endif()
