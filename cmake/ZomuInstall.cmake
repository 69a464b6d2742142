# What `cmake --install` installs, and the packages that CPack builds from it. The installation can be
# relocated as a whole: the files for CMake and pkg-config find the others relative to themselves.
include(CMakePackageConfigHelpers)
set(ZOMU_CMAKE_FOLDER ${CMAKE_INSTALL_LIBDIR}/cmake/ZOMU)

# The libraries, and what is needed to build programs with them.
install(TARGETS ZOMU ZOMUbatch EXPORT ZOMUTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT development
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT library
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
# For the Python package alone: there is no header, and nothing to link with.
if(TARGET ZOMUpictures)
    install(TARGETS ZOMUpictures
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT pictures NAMELINK_SKIP)
endif()
install(FILES include/zomu.h include/zomu.hpp include/zomu_batch.h include/zomu_check.h include/zomu_check_fit.h
        include/zomu_model.hpp include/zomu_new_file.hpp include/zomu_template.hpp
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
install(EXPORT ZOMUTargets NAMESPACE ZOMU:: FILE ZOMUConfig.cmake
    DESTINATION ${ZOMU_CMAKE_FOLDER} COMPONENT development)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/ZOMUConfigVersion.cmake
    COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/ZOMUConfigVersion.cmake
    DESTINATION ${ZOMU_CMAKE_FOLDER} COMPONENT development)
if(NOT WIN32)
    # From the folder of the .pc files back to the root of the installation.
    file(RELATIVE_PATH ZOMU_PC_PREFIX
        /root/${CMAKE_INSTALL_LIBDIR}/pkgconfig /root)
    string(REGEX REPLACE "/$" "" ZOMU_PC_PREFIX ${ZOMU_PC_PREFIX})
    foreach(pair zomu:ZOMU zomu-batch:ZOMUbatch)
        string(REPLACE : ";" pair ${pair})
        list(GET pair 0 package)
        list(GET pair 1 ZOMU_PC_LIBRARY)
        configure_file(cmake/zomu.pc.in ${CMAKE_CURRENT_BINARY_DIR}/${package}.pc @ONLY)
        install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${package}.pc
            DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
    endforeach()
endif()

# The tools with the demonstration model, and the sources of the example with the file readers that it is
# compiled with, all in one folder.
if(ZOMU_BUILD_TOOLS)
    install(TARGETS zomu-model zomu-template zomu-inspect zomu-variants
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
    install(DIRECTORY models/ DESTINATION ${CMAKE_INSTALL_DATADIR}/zomu COMPONENT tools)
endif()
install(DIRECTORY examples/ pictures/
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libzomu-dev/examples COMPONENT development
    PATTERN CMakeLists.txt EXCLUDE
    PATTERN picture_library.* EXCLUDE
    PATTERN *.map EXCLUDE)

# The Python package, where Debian's interpreter looks for packages.
install(DIRECTORY python/zomu DESTINATION lib/python3/dist-packages COMPONENT python
    PATTERN __pycache__ EXCLUDE)

# The command of the package, with its man page and completions where Debian's shells look for them.
install(PROGRAMS python/zomu-command RENAME zomu DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT python)
install(FILES python/pages/zomu.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT python)
install(FILES python/pages/zomu.bash RENAME zomu
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT python)
install(FILES python/pages/_zomu DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions COMPONENT python)
install(FILES python/pages/zomu.fish
    DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d COMPONENT python)

# --- Packages -------------------------------------------------------------------------------------
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME zomu)
set(CPACK_PACKAGE_VENDOR "The ZOMU authors")
set(CPACK_PACKAGE_CONTACT "The ZOMU authors <zomu@localhost>")
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/packages)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL library pictures development tools python)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
# Permissions that Debian expects, whatever the umask during the build.
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(exactly "(= ${PROJECT_VERSION})")

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME libzomu${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_COMPONENT_LIBRARY_DESCRIPTION "face templates on the CPU
 A shared library that turns the picture of a face, with landmarks, into a
 template of 502 floats, and two templates into a score, and one that
 computes many templates at a time. They need a folder with trained numbers,
 which this package does not contain.")

set(CPACK_DEBIAN_PICTURES_PACKAGE_NAME libzomupictures${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_PICTURES_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PICTURES_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PICTURES_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_COMPONENT_PICTURES_DESCRIPTION "face templates on the CPU - reader of pictures
 A shared library that reads PNG and JPEG files for the Python package, as
 the tools do.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libzomu-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libzomu${PROJECT_VERSION_MAJOR} ${exactly}")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "face templates on the CPU - development files
 Headers for C and C++, files for CMake and pkg-config, and an example in C.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME zomu-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION graphics)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
set(CPACK_COMPONENT_TOOLS_DESCRIPTION "face templates on the CPU - tools
 Programs that create and check model folders, store templates with their
 model, show what the library sees of a face, and vary sample faces; and a
 demonstration model, which was not trained on real people.")

set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-zomu)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
set(CPACK_DEBIAN_PYTHON_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS
    "python3 (>= 3.11), python3-numpy, libzomu${PROJECT_VERSION_MAJOR} (>= ${PROJECT_VERSION})")
# For zomu.read_picture, for `zomu draw`, for the demonstration model, and for a finder that takes a fifth of
# the time.
set(CPACK_DEBIAN_PYTHON_PACKAGE_RECOMMENDS
    "libzomupictures${PROJECT_VERSION_MAJOR} (>= ${PROJECT_VERSION}), python3-pil, zomu-tools, libopenblas0-pthread | libopenblas0")
set(CPACK_COMPONENT_PYTHON_DESCRIPTION "face templates on the CPU - Python package and command
 Templates and scores from NumPy arrays, and the command zomu, which finds
 faces in photographs and tells them apart.")

# Debian requires the licences in a file of this name in each package.
include(ZomuNotices)
foreach(pair library:libzomu${PROJECT_VERSION_MAJOR} pictures:libzomupictures${PROJECT_VERSION_MAJOR}
        development:libzomu-dev tools:zomu-tools python:python3-zomu)
    string(REPLACE : ";" pair ${pair})
    list(GET pair 0 component)
    list(GET pair 1 package)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/notices/${component} RENAME copyright
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package} COMPONENT ${component})
endforeach()
include(CPack)
