# Registers the tests of a program with CTest.
include(GoogleTest)

# zomu_add_tests(TARGET [SHARDS N] [PROPERTIES NAME VALUE...])
#
# Each test becomes one of CTest's and runs in its own process. Under an emulator, where starting a process
# is slow, each program is one test; SHARDS splits it into N, to use N processors.
function(zomu_add_tests target)
    cmake_parse_arguments(ARG "" "SHARDS" "PROPERTIES" ${ARGN})
    if(NOT CMAKE_CROSSCOMPILING)
        gtest_discover_tests(${target} DISCOVERY_TIMEOUT 60 NO_PRETTY_VALUES PROPERTIES ${ARG_PROPERTIES})
        return()
    endif()
    if(NOT ARG_SHARDS)
        set(ARG_SHARDS 1)
    endif()
    math(EXPR last "${ARG_SHARDS} - 1")
    foreach(shard RANGE ${last})
        set(name ${target}.${shard})
        add_test(NAME ${name} COMMAND ${target} --gtest_brief=1)
        if(ARG_PROPERTIES)
            set_tests_properties(${name} PROPERTIES ${ARG_PROPERTIES})
        endif()
        set_property(TEST ${name} APPEND PROPERTY
            ENVIRONMENT GTEST_TOTAL_SHARDS=${ARG_SHARDS} GTEST_SHARD_INDEX=${shard})
    endforeach()
endfunction()
