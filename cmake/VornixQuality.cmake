# Targets for developers: format, check-format, tidy. No build depends on them.

file(GLOB_RECURSE VORNIX_OWN_SOURCES CONFIGURE_DEPENDS
    src/*.h src/*.cpp sim/*.h sim/*.cpp tests/*.h tests/*.cpp bench/*.h bench/*.cpp fuzz/*.h
    fuzz/*.cpp examples/*.cpp)

find_program(CLANG_FORMAT clang-format)
if(CLANG_FORMAT)
    add_custom_target(format COMMAND ${CLANG_FORMAT} -i ${VORNIX_OWN_SOURCES}
        WORKING_DIRECTORY ${PROJECT_SOURCE_DIR})
    add_custom_target(check-format COMMAND ${CLANG_FORMAT} --dry-run --Werror ${VORNIX_OWN_SOURCES}
        WORKING_DIRECTORY ${PROJECT_SOURCE_DIR})
endif()

# Build first: the sources include headers that a build generates. The fuzzers are compiled by clang
# in a separate build tree, which needs only to be configured. Sources that are not built here
# (tests and benchmarks, if they are switched off) are not checked. The preset "debug" has no
# precompiled headers: clang cannot read those of GCC.
find_program(RUN_CLANG_TIDY NAMES run-clang-tidy run-clang-tidy-14)
find_program(CLANGXX clang++)
if(RUN_CLANG_TIDY)
    set(tidy_fuzzers COMMAND ${CMAKE_COMMAND} -E echo "No clang++: the fuzzers are left out")
    if(CLANGXX)
        set(tidy_fuzzers
            COMMAND ${CMAKE_COMMAND} --preset fuzz
            COMMAND ${RUN_CLANG_TIDY} -quiet -p ${PROJECT_SOURCE_DIR}/build/fuzz
                "${PROJECT_SOURCE_DIR}/fuzz/.*\\.cpp")
    endif()
    add_custom_target(tidy
        COMMAND ${RUN_CLANG_TIDY} -quiet -p ${CMAKE_BINARY_DIR}
            "${PROJECT_SOURCE_DIR}/(src|sim|tests|bench|examples)/.*\\.cpp"
        ${tidy_fuzzers}
        WORKING_DIRECTORY ${PROJECT_SOURCE_DIR} USES_TERMINAL VERBATIM)
endif()
