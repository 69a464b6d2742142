# The copyright files of the packages: the licence, and the notices of those whose code is linked into the
# package's binaries or comes from headers. Shared libraries have packages of their own.

# zomu_notices(COMPONENT [PACKAGE...])
#
# Writes notices/COMPONENT in the build folder, with the copyright files of these Debian packages. Elsewhere
# than on Debian there are none: whoever passes binaries on adds the notices.
function(zomu_notices component)
    file(READ ${PROJECT_SOURCE_DIR}/LICENSE text)
    foreach(package ${ARGN})
        set(notice /usr/share/doc/${package}/copyright)
        if(EXISTS ${notice})
            file(READ ${notice} carried)
            string(APPEND text "\n\nContains code of ${package}, which has these notices:\n\n${carried}")
        elseif(NOT CMAKE_CROSSCOMPILING AND NOT WIN32)
            message(WARNING "${notice} is missing, so that the copyright file of ${component} is incomplete")
        endif()
    endforeach()
    file(CONFIGURE OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/notices/${component} CONTENT "@text@" @ONLY)
endfunction()

zomu_notices(library libopenblas-openmp-dev)
if(ZOMU_BUILD_TOOLS)
    zomu_notices(tools libopenblas-openmp-dev libcli11-dev)
else()
    zomu_notices(tools) # the package has no binaries then
endif()
zomu_notices(development)
zomu_notices(pictures)
zomu_notices(python)
