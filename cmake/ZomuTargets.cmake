# How everything in this project is compiled: one function, called for every target.

# Float results are part of the interface: no contraction into fused operations, no reordering of sums,
# and no code generation in the linker, which may have flags of its own. ZOMU_FLOAT_FLAGS come last, where
# no build type can override them; ZOMU_FLOATS_AS_WRITTEN tells float_rules.h that they are set.
set(flags "${CMAKE_C_FLAGS} ${CMAKE_CXX_FLAGS} ${CMAKE_CXX_FLAGS_RELEASE} ${CMAKE_EXE_LINKER_FLAGS} ${CMAKE_SHARED_LINKER_FLAGS}")
if(CMAKE_INTERPROCEDURAL_OPTIMIZATION OR flags MATCHES "-flto|[/-](GL|LTCG)( |$)")
    message(FATAL_ERROR "Link-time optimisation may change the last bits of templates: build without it")
endif()
if(flags MATCHES "-ffp-contract=(fast|on)|-f(fast-math)|-O(fast)|[/-]fp:(fast|contract)")
    message(FATAL_ERROR "Contraction and fast-math change the bits of templates: build without them")
endif()
if(MSVC)
    set(ZOMU_FLOAT_FLAGS /fp:precise /DZOMU_FLOATS_AS_WRITTEN)
    set(ZOMU_WARNINGS /W4 /utf-8 /EHsc)
    set(ZOMU_ERROR_FLAG /WX)
else()
    set(ZOMU_FLOAT_FLAGS -ffp-contract=off -fno-fast-math -fno-lto -DZOMU_FLOATS_AS_WRITTEN)
    set(ZOMU_WARNINGS -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion
                      -Wdouble-promotion $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast>)
    set(ZOMU_ERROR_FLAG -Werror)
endif()

# zomu_target(TARGET [QUICKLY])
#
# QUICKLY   not optimised, with GoogleTest's header precompiled: for tests, which take longer to compile
#           than to run
function(zomu_target target)
    cmake_parse_arguments(ARG "QUICKLY" "" "" ${ARGN})
    target_compile_features(${target} PRIVATE cxx_std_20 c_std_11)
    set_target_properties(${target} PROPERTIES
        C_EXTENSIONS OFF CXX_EXTENSIONS OFF
        C_VISIBILITY_PRESET hidden CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON
        INTERPROCEDURAL_OPTIMIZATION OFF
        POSITION_INDEPENDENT_CODE ON)
    if(WIN32)
        # windows.h would also define min, max and byte.
        target_compile_definitions(${target} PRIVATE WIN32_LEAN_AND_MEAN NOMINMAX)
    endif()
    target_compile_options(${target} PRIVATE ${ZOMU_WARNINGS} ${ZOMU_FLOAT_FLAGS})
    if(ARG_QUICKLY AND NOT MSVC)
        target_compile_options(${target} PRIVATE -O0)
        target_precompile_headers(${target} PRIVATE "$<$<COMPILE_LANGUAGE:CXX>:<gtest/gtest.h$<ANGLE-R>>")
    endif()
    if(ZOMU_WARNINGS_AS_ERRORS)
        target_compile_options(${target} PRIVATE ${ZOMU_ERROR_FLAG})
    endif()
    if(ZOMU_SANITIZER)
        target_compile_options(${target} PRIVATE -fsanitize=${ZOMU_SANITIZER}
                               -fno-omit-frame-pointer -fno-sanitize-recover=all)
        target_link_options(${target} PRIVATE -fsanitize=${ZOMU_SANITIZER})
    endif()
    if(ZOMU_COVERAGE)
        target_compile_options(${target} PRIVATE --coverage)
        target_link_options(${target} PRIVATE --coverage)
    endif()
endfunction()
