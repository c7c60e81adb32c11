# vornix_bench(NAME [FILE file.cpp...] [LINK target...] [ARGS argument...])
#
# One benchmark program (default source: NAME.cpp). The target `bench` builds all of them and runs
# them one after the other, because parallel runs distort the results. Programs are linked with
# Google Benchmark; one that has its own main() may ignore it. Windows open on the current display,
# or on a virtual one.

set(VORNIX_WITH_DISPLAY ${PROJECT_SOURCE_DIR}/tools/with-display)
add_custom_target(bench)

function(vornix_bench name)
    cmake_parse_arguments(arg "" "" "FILE;LINK;ARGS" ${ARGN})
    if(NOT arg_FILE)
        set(arg_FILE ${name}.cpp)
    endif()
    add_executable(${name} ${arg_FILE})
    set_target_properties(${name} PROPERTIES AUTOMOC ON
        RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bench)
    target_link_libraries(${name} PRIVATE vornix_flags benchmark::benchmark ${arg_LINK})
    set_property(GLOBAL APPEND PROPERTY VORNIX_BENCHES ${name})
    add_custom_target(run_${name} COMMAND ${VORNIX_WITH_DISPLAY} $<TARGET_FILE:${name}> ${arg_ARGS}
        WORKING_DIRECTORY ${CMAKE_BINARY_DIR} USES_TERMINAL VERBATIM)
    add_dependencies(bench run_${name})
endfunction()

# vornix_bench_script(NAME): runs NAME.py, which runs the built programs from outside.
function(vornix_bench_script name)
    add_custom_target(run_${name}
        COMMAND ${CMAKE_COMMAND} -E env "VORNIX_BIN=${CMAKE_BINARY_DIR}/bin"
            ${VORNIX_PYTHON} -B ${CMAKE_CURRENT_SOURCE_DIR}/${name}.py
        WORKING_DIRECTORY ${CMAKE_BINARY_DIR} USES_TERMINAL VERBATIM)
    add_dependencies(run_${name} vornix vornix-sim)
    set_property(GLOBAL APPEND PROPERTY VORNIX_BENCH_SCRIPTS ${name})
    add_dependencies(bench run_${name})
endfunction()

# Orders the runs, programs before scripts: each waits for every program to be built and for the run before it. Call it once,
# after the last vornix_bench().
function(vornix_bench_finish)
    get_property(benches GLOBAL PROPERTY VORNIX_BENCHES)
    set(previous "")
    foreach(name IN LISTS benches)
        add_dependencies(run_${name} ${benches} ${previous})
        set(previous run_${name})
    endforeach()
    get_property(scripts GLOBAL PROPERTY VORNIX_BENCH_SCRIPTS)
    foreach(name IN LISTS scripts)
        add_dependencies(run_${name} ${previous})
        set(previous run_${name})
    endforeach()
endfunction()
