# Functions that turn a folder into a target. A folder without sources gives no target, so that a part that
# is not there yet never stops the others from being built.

# vr_find_sources(OUT FOLDER [EXCLUDE regex]): the .cpp files below FOLDER, kept up to date by the build.
function(vr_find_sources out folder)
    cmake_parse_arguments(arg "" "EXCLUDE" "" ${ARGN})
    file(GLOB_RECURSE found CONFIGURE_DEPENDS "${folder}/*.cpp")
    if(arg_EXCLUDE)
        list(FILTER found EXCLUDE REGEX "${arg_EXCLUDE}")
    endif()
    set(${out} ${found} PARENT_SCOPE)
endfunction()

# vr_add_host_component(NAME [FOLDER f] [EXCLUDE regex] LIBRARIES ...): ReferenceHost/NAME, or the folder f of
# ReferenceHost, as the object library HostNAME, which becomes a part of the shared host.
function(vr_add_host_component name)
    cmake_parse_arguments(arg "" "FOLDER;EXCLUDE" "LIBRARIES" ${ARGN})
    if(NOT arg_FOLDER)
        set(arg_FOLDER ${name})
    endif()
    vr_find_sources(sources "${CMAKE_CURRENT_SOURCE_DIR}/${arg_FOLDER}" EXCLUDE "${arg_EXCLUDE}")
    if(NOT sources)
        return()
    endif()
    set(target Host${name})
    add_library(${target} OBJECT ${sources})
    add_library(ReferenceHost::${name} ALIAS ${target})
    target_link_libraries(${target} PUBLIC HostSurface PRIVATE ${arg_LIBRARIES})
    target_include_directories(${target} PUBLIC "${PROJECT_SOURCE_DIR}")
    # Tool, session and tests reach into the host's own folders across the shared object.
    set_target_properties(${target} PROPERTIES CXX_VISIBILITY_PRESET default)
    if(TARGET HostPrecompiled)
        target_precompile_headers(${target} REUSE_FROM HostPrecompiled)
    endif()
    if("PkgConfig::Highway" IN_LIST arg_LIBRARIES)
        target_compile_definitions(${target} PRIVATE ${VR_KERNEL_DEFINITIONS})
        target_compile_options(${target} PRIVATE ${VR_KERNEL_OPTIONS})
    endif()
    set_property(GLOBAL APPEND PROPERTY VR_HOST_COMPONENTS ${target})
endfunction()

# The standard headers that nearly every source reads, compiled once for all of the host's components and once for
# all else: the compiler refuses a precompiled header of another visibility.
function(vr_add_precompiled)
    if(NOT VR_PRECOMPILE)
        return()
    endif()
    set(empty "${CMAKE_CURRENT_BINARY_DIR}/Precompiled.cpp")
    file(GENERATE OUTPUT "${empty}" CONTENT "")
    foreach(target HostPrecompiled ProductPrecompiled)
        add_library(${target} OBJECT "${empty}")
        target_precompile_headers(${target} PRIVATE
            <algorithm> <array> <atomic> <chrono> <condition_variable> <cstdint> <cstring> <deque> <functional>
            <map> <memory> <mutex> <optional> <set> <string> <string_view> <thread> <unordered_map> <utility>
            <variant> <vector>)
    endforeach()
    set_target_properties(HostPrecompiled PROPERTIES CXX_VISIBILITY_PRESET default)
endfunction()

# vr_use_precompiled(TARGET): for what isn't a component of the host.
function(vr_use_precompiled target)
    if(TARGET ProductPrecompiled)
        target_precompile_headers(${target} REUSE_FROM ProductPrecompiled)
    endif()
endfunction()

# Undefined symbols stop the link, so what a host must supply is exactly what the linker asks for.
function(vr_link_library_to_host)
    if(TARGET VideoRenderer AND TARGET ${VIDEORENDERER_HOST})
        target_link_libraries(VideoRenderer PRIVATE ${VIDEORENDERER_HOST})
    endif()
endfunction()
