# What holds for every source of the project, whichever component it belongs to.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_C_STANDARD_REQUIRED ON)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)

set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/lib")
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/lib")
set(CMAKE_INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")

# Pictures must not depend on the machine: a fused multiply-add that the compiler makes up would round
# differently from the same expression in another kernel or on another processor.
add_compile_options(-ffp-contract=off)

add_compile_options(-Wall -Wextra -Wconversion -Wshadow)
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    # gcc leaves this part of -Wconversion out in C++; both compilers shall ask for the same.
    add_compile_options(-Wno-sign-conversion)
endif()
if(VR_WARNINGS_ARE_ERRORS)
    add_compile_options(-Werror)
endif()
if(VR_THREAD_SAFETY)
    add_compile_options(-Wthread-safety -Werror=thread-safety)
endif()

if(VR_SANITIZE)
    add_compile_options(-fsanitize=${VR_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${VR_SANITIZE})
    add_compile_definitions(VR_SANITIZED=1)
    set(VR_TEST_TIMEOUT_FACTOR 15)
    # Two instruction sets are checked under sanitizers, the best and the plain one; of the rest none is compiled.
    set(VR_KERNEL_DEFINITIONS "HWY_DISABLED_TARGETS=(HWY_SSSE3|HWY_SSE4)")
    if(VR_SANITIZE MATCHES "address")
        # Kernels hold hundreds of vectors in inner scopes and no pointer to one. Watching these scopes takes the
        # compiler three times as long as all the rest.
        set(VR_KERNEL_OPTIONS -fno-sanitize-address-use-after-scope)
        # Half of what a unit test is compiled to would ask of each pointer whether it is null, aligned and of the
        # right class. The product's own sources ask that; what a test has inline of them is left to the machine.
        set(VR_UNIT_TEST_OPTIONS -fno-sanitize=null,alignment,vptr)
    endif()
else()
    set(VR_TEST_TIMEOUT_FACTOR 3)
endif()

if(VR_FUZZ)
    # Every object counts its branches; only the fuzzers themselves bring the program around them.
    # RapidJSON's headers add to null pointers, which stops every run at once.
    add_compile_options(-fsanitize=fuzzer-no-link -fno-sanitize=pointer-overflow)
endif()

add_link_options(-Wl,--as-needed)

find_program(VR_CCACHE ccache)
if(VR_CCACHE)
    # Without this sloppiness ccache compiles anew whatever uses a precompiled header. What a source includes is taken
    # from the compiler's list, which saves running the preprocessor for each source that is new.
    set(launcher ${CMAKE_COMMAND} -E env CCACHE_SLOPPINESS=pch_defines,time_macros CCACHE_DEPEND=1 ${VR_CCACHE})
    set(CMAKE_C_COMPILER_LAUNCHER ${launcher})
    set(CMAKE_CXX_COMPILER_LAUNCHER ${launcher})
endif()
