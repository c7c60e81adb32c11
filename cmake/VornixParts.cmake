# The optional parts of the build. A part is built completely or not at all: it is built if it is
# requested and everything it needs was found. One status line per part states the result and the
# reason.
#
# Sets VORNIX_WITH_CLI, VORNIX_WITH_TESTS, VORNIX_WITH_BENCH and VORNIX_WITH_COMPARISON.

option(VORNIX_BUILD_CLI "Build vornixctl, the program for a terminal" ON)
option(VORNIX_BUILD_SIMULATOR "Build vornix-sim, the simulated device; needs umockdev" ON)
option(VORNIX_BUILD_TESTS "Build the tests; needs the simulated device" OFF)
option(VORNIX_BUILD_BENCH "Build the benchmarks; needs the simulated device" OFF)

# vornix_part(NAME TITLE OBSTACLE...): sets the variable VORNIX_WITH_NAME to true if there is no
# obstacle.
function(vornix_part name title)
    set(built TRUE)
    set(state "on")
    if(ARGN)
        set(built FALSE)
        list(JOIN ARGN ", " reasons)
        set(state "off (${reasons})")
    endif()
    message(STATUS "${title}: ${state}")
    set(VORNIX_WITH_${name} ${built} PARENT_SCOPE)
endfunction()

# vornix_need(LIST VARIABLE WHAT): adds "no WHAT" to the obstacles in LIST unless VARIABLE is true.
function(vornix_need list variable what)
    if(NOT ${variable})
        set(${list} ${${list}} "no ${what}" PARENT_SCOPE)
    endif()
endfunction()

# If the simulated device is requested, a missing umockdev is an error, because the other parts
# require the simulated device.
if(VORNIX_BUILD_SIMULATOR)
    pkg_check_modules(umockdev QUIET IMPORTED_TARGET umockdev-1.0)
    if(NOT umockdev_FOUND)
        message(FATAL_ERROR "The simulated device needs umockdev-1.0, which was not found. "
            "-D VORNIX_BUILD_SIMULATOR=OFF builds the program alone.")
    endif()
    vornix_part(SIMULATOR "Simulated device")
else()
    vornix_part(SIMULATOR "Simulated device" "VORNIX_BUILD_SIMULATOR is OFF")
endif()

set(cli_obstacles "")
if(VORNIX_BUILD_CLI)
    find_package(CLI11 QUIET)
    find_package(nlohmann_json QUIET)
    pkg_check_modules(libudev QUIET IMPORTED_TARGET libudev)
    pkg_check_modules(libmosquitto QUIET IMPORTED_TARGET libmosquitto)
    vornix_need(cli_obstacles CLI11_FOUND "CLI11")
    vornix_need(cli_obstacles nlohmann_json_FOUND "nlohmann-json")
    vornix_need(cli_obstacles libudev_FOUND "libudev")
    vornix_need(cli_obstacles libmosquitto_FOUND "libmosquitto")
else()
    set(cli_obstacles "VORNIX_BUILD_CLI is OFF")
endif()
vornix_part(CLI "vornixctl" ${cli_obstacles})

# Needed by both tests and benchmarks.
set(obstacles "")
vornix_need(obstacles VORNIX_BUILD_SIMULATOR "simulated device")
if(VORNIX_BUILD_TESTS OR VORNIX_BUILD_BENCH)
    find_package(Qt6 6.4 QUIET COMPONENTS Test)
    pkg_check_modules(xcb QUIET IMPORTED_TARGET xcb)
    vornix_need(obstacles Qt6Test_FOUND "Qt Test")
    vornix_need(obstacles xcb_FOUND "xcb")
endif()

set(test_obstacles "${obstacles}")
if(VORNIX_BUILD_TESTS)
    find_library(UMOCKDEV_PRELOAD NAMES libumockdev-preload.so.0)
    vornix_need(test_obstacles UMOCKDEV_PRELOAD "umockdev-preload")
else()
    set(test_obstacles "VORNIX_BUILD_TESTS is OFF")
endif()
vornix_part(TESTS "Tests" ${test_obstacles})

set(bench_obstacles "${obstacles}")
if(VORNIX_BUILD_BENCH)
    find_package(benchmark QUIET)
    pkg_check_modules(xcb-xtest QUIET IMPORTED_TARGET xcb xcb-xtest)
    vornix_need(bench_obstacles benchmark_FOUND "Google Benchmark")
    vornix_need(bench_obstacles xcb-xtest_FOUND "xcb-xtest")
else()
    set(bench_obstacles "VORNIX_BUILD_BENCH is OFF")
endif()
vornix_part(BENCH "Benchmarks" ${bench_obstacles})

# One benchmark compares the plot with QCustomPlot; nothing that is shipped links to it.
set(comparison_obstacles "")
if(VORNIX_WITH_BENCH)
    find_package(Qt6 6.4 QUIET COMPONENTS PrintSupport)
    find_path(QCUSTOMPLOT_INCLUDE qcustomplot.h)
    find_library(QCUSTOMPLOT_LIBRARY QCustomPlotQt6)
    vornix_need(comparison_obstacles Qt6PrintSupport_FOUND "Qt Print Support")
    vornix_need(comparison_obstacles QCUSTOMPLOT_INCLUDE "QCustomPlot header")
    vornix_need(comparison_obstacles QCUSTOMPLOT_LIBRARY "QCustomPlot library for Qt 6")
else()
    set(comparison_obstacles "no benchmarks")
endif()
vornix_part(COMPARISON "Comparison with QCustomPlot" ${comparison_obstacles})

message(STATUS "Fuzzers: off (the preset \"fuzz\" builds them, with clang)")
