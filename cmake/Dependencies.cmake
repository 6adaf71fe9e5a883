# Everything from outside, found once. A component links only what it names in its own folder.

find_package(Threads REQUIRED)
find_package(Boost 1.74 REQUIRED COMPONENTS thread system date_time)
find_package(fmt REQUIRED)
find_package(spdlog REQUIRED)
find_package(PkgConfig REQUIRED)

pkg_check_modules(Highway REQUIRED IMPORTED_TARGET libhwy)
pkg_check_modules(Zimg REQUIRED IMPORTED_TARGET zimg)
pkg_check_modules(Png REQUIRED IMPORTED_TARGET libpng)
pkg_check_modules(Zip REQUIRED IMPORTED_TARGET libzip)
pkg_check_modules(RapidJson REQUIRED IMPORTED_TARGET RapidJSON)
pkg_check_modules(FFmpeg REQUIRED IMPORTED_TARGET libavformat libavcodec libavutil libswscale)

if(VR_BUILD_TESTS)
    find_package(GTest REQUIRED)
    find_package(Python3 REQUIRED COMPONENTS Interpreter)
endif()
if(VR_BUILD_BENCHMARKS)
    find_package(benchmark)
endif()

# Old placeholders of Boost.Bind stay where they are without a note on every compile.
add_compile_definitions(BOOST_BIND_GLOBAL_PLACEHOLDERS)
