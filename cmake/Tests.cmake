# Functions that turn a folder of tests into executables and their tests.

# vr_add_test_folder(NAME FOLDER f PARTS targets... [RUNS targets...] [MEDIA] [ALONE]): *_test.cpp become test_NAME,
# *_stress.cpp test_NAME_stress, *_check.cpp test_NAME_check; other sources of the folder are helpers of all
# three. PARTS that don't exist (yet) are left out. RUNS are programs that the tests start. ALONE are tests of which
# each needs a process of its own, as it starts and ends what a process has once.
function(vr_add_test_folder name)
    cmake_parse_arguments(arg "MEDIA;ALONE" "FOLDER" "PARTS;RUNS" ${ARGN})
    vr_find_sources(all "${CMAKE_CURRENT_SOURCE_DIR}/${arg_FOLDER}")
    set(helpers ${all})
    list(FILTER helpers EXCLUDE REGEX "_(test|stress|check)\\.cpp$")

    vr_add_test_kind(test_${name} "_test\\.cpp$" unit 120)
    vr_add_test_kind(test_${name}_stress "_stress\\.cpp$" concurrency 300)
    vr_add_test_kind(test_${name}_check "_check\\.cpp$" pixels 300)
endfunction()

macro(vr_add_test_kind target pattern label seconds)
    set(sources ${all})
    list(FILTER sources INCLUDE REGEX "${pattern}")
    if(sources)
        vr_add_test_executable(${target} ${label} ${seconds})
    endif()
endmacro()

function(vr_add_test_executable target label seconds)
    add_executable(${target} ${sources} ${helpers})
    foreach(part ${arg_PARTS})
        if(TARGET ${part})
            target_link_libraries(${target} PRIVATE ${part})
        endif()
    endforeach()
    target_link_libraries(${target} PRIVATE TestSupport)
    target_include_directories(${target} PRIVATE "${PROJECT_SOURCE_DIR}/VideoRenderer/Inc")
    set(precompiled TestSupport)
    if(label STREQUAL unit)
        # What a unit test says itself runs once. To optimise it took longer than to run all of them.
        target_compile_options(${target} PRIVATE -O0 ${VR_UNIT_TEST_OPTIONS})
        set(precompiled UnitTestPrecompiled)
    endif()
    if(VR_PRECOMPILE)
        # The compiler's own default on both sides, as a header precompiled for -fPIC is refused under -fPIE.
        set_target_properties(${target} PROPERTIES POSITION_INDEPENDENT_CODE OFF)
        target_precompile_headers(${target} REUSE_FROM ${precompiled})
    endif()
    foreach(program ${arg_RUNS})
        if(TARGET ${program})
            add_dependencies(${target} ${program})
        endif()
    endforeach()

    math(EXPR timeout "${seconds} * ${VR_TEST_TIMEOUT_FACTOR}")
    set(properties LABELS ${label} TIMEOUT ${timeout})
    if(arg_MEDIA AND VR_HAS_MEDIA_FIXTURE)
        list(APPEND properties FIXTURES_REQUIRED media)
    endif()
    string(REGEX REPLACE "^test_" "" prefix ${target})
    if(VR_TESTS_TOGETHER AND NOT arg_ALONE AND NOT label STREQUAL concurrency)
        vr_add_test_shares()
    else()
        gtest_discover_tests(${target}
            TEST_PREFIX "${prefix}."
            NO_PRETTY_VALUES
            DISCOVERY_MODE PRE_TEST
            DISCOVERY_TIMEOUT 600
            WORKING_DIRECTORY "${CMAKE_BINARY_DIR}"
            PROPERTIES ${properties})
    endif()
endfunction()

# An executable's tests as a few processes, each of which runs its share of them, for builds in which the start of a
# process takes longer than most tests.
macro(vr_add_test_shares)
    list(LENGTH sources shares)
    math(EXPR shares "(${shares} + 3) / 4")
    math(EXPR last "${shares} - 1")
    foreach(share RANGE ${last})
        set(test "${prefix}.Share${share}of${shares}")
        add_test(NAME ${test} COMMAND ${target} WORKING_DIRECTORY "${CMAKE_BINARY_DIR}")
        set_tests_properties(${test} PROPERTIES ${properties}
            ENVIRONMENT "GTEST_TOTAL_SHARDS=${shares};GTEST_SHARD_INDEX=${share}")
    endforeach()
endmacro()

# vr_add_soak(NAME target FILTER f SCALE s SECONDS n): the tests that match the filter, s times as long as usual.
# They run only when they are asked for by label.
function(vr_add_soak name target)
    cmake_parse_arguments(arg "" "FILTER;SCALE;SECONDS" "" ${ARGN})
    if(NOT TARGET ${target})
        return()
    endif()
    math(EXPR timeout "${arg_SECONDS} * ${VR_TEST_TIMEOUT_FACTOR}")
    add_test(NAME Soak.${name} COMMAND ${target} "--gtest_filter=${arg_FILTER}")
    set_tests_properties(Soak.${name} PROPERTIES LABELS soak TIMEOUT ${timeout} RUN_SERIAL ON
        ENVIRONMENT "VR_TEST_SCALE=${arg_SCALE}" WORKING_DIRECTORY "${CMAKE_BINARY_DIR}")
endfunction()

# Media are made once, before the first test that reads them, by FFmpeg's command line.
function(vr_add_media_fixture)
    set(script "${PROJECT_SOURCE_DIR}/scripts/make_test_media.py")
    set(VR_HAS_MEDIA_FIXTURE OFF PARENT_SCOPE)
    file(GLOB found CONFIGURE_DEPENDS "${script}")
    if(found)
        add_test(NAME MakeTestMedia COMMAND Python3::Interpreter "${script}" "${VR_TEST_MEDIA_DIR}")
        set_tests_properties(MakeTestMedia PROPERTIES FIXTURES_SETUP media TIMEOUT 600)
        set(VR_HAS_MEDIA_FIXTURE ON PARENT_SCOPE)
    endif()
endfunction()

# Each public header alone, in a source of its own; headers in plain C also as C.
function(vr_add_header_checks)
    if(NOT VR_CHECK_HEADERS)
        return()
    endif()
    set(roots "${PROJECT_SOURCE_DIR}/VideoRenderer/HostSurface" "${PROJECT_SOURCE_DIR}/VideoRenderer/Inc")
    set(sources)
    foreach(root ${roots})
        file(GLOB_RECURSE headers RELATIVE "${root}" CONFIGURE_DEPENDS "${root}/*.h")
        foreach(header ${headers})
            string(MAKE_C_IDENTIFIER "${header}" stem)
            vr_write_header_source("${header}" "${stem}.cpp")
            if(header MATCHES "^(IR/|Suites/|ML/PluginABI)")
                vr_write_header_source("${header}" "${stem}.c")
            endif()
        endforeach()
    endforeach()
    if(sources)
        add_library(test_Headers OBJECT ${sources})
        target_link_libraries(test_Headers PRIVATE HostSurface)
        target_include_directories(test_Headers PRIVATE "${PROJECT_SOURCE_DIR}/VideoRenderer/Inc")
        target_compile_options(test_Headers PRIVATE -O0 -g0)
        add_test(NAME Headers.EachCompilesAlone
            COMMAND ${CMAKE_COMMAND} --build "${CMAKE_BINARY_DIR}" --target test_Headers)
        set_tests_properties(Headers.EachCompilesAlone PROPERTIES LABELS headers TIMEOUT 600 RUN_SERIAL ON)
    endif()
endfunction()

# Included twice, as a header without a guard would pass otherwise.
macro(vr_write_header_source header name)
    set(path "${CMAKE_BINARY_DIR}/headers/${name}")
    file(CONFIGURE OUTPUT "${path}" CONTENT "#include \"${header}\"\n#include \"${header}\"\n" @ONLY)
    list(APPEND sources "${path}")
endmacro()

function(vr_add_script_tests)
    file(GLOB scripts CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/scripts/check_includes.py")
    if(scripts)
        add_test(NAME IncludeRules.TreeKeepsThem
            COMMAND Python3::Interpreter "${PROJECT_SOURCE_DIR}/scripts/check_includes.py")
        add_test(NAME IncludeRules.CheckerCatchesWhatItShould
            COMMAND Python3::Interpreter "${PROJECT_SOURCE_DIR}/scripts/check_includes.py" --self-test)
        set_tests_properties(IncludeRules.TreeKeepsThem IncludeRules.CheckerCatchesWhatItShould
            PROPERTIES LABELS unit TIMEOUT 600)
    endif()
endfunction()
