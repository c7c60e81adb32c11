# vornix_test(NAME [FILE file.cpp...] LINK target... [LABEL unit|gui|e2e] [TIMEOUT seconds] [MOCKDEV]
#             [GL])
#
# One program and one CTest entry per test file (default: NAME.cpp). MOCKDEV loads the umockdev
# preload library, so that the test uses /dev and /sys of its testbed; the sanitizer runtime, if
# any, has to come first in the preload list. GL switches off leak detection: the Mesa driver leaks
# a little and is unloaded before the leak check, so that a suppression cannot match its name.
#
# The timeout ends tests that hang. It is long enough for a machine that is several times slower.

set(VORNIX_PRELOAD "${UMOCKDEV_PRELOAD}")
if(VORNIX_SANITIZE)
    set(runtime_address libasan.so)
    set(runtime_thread libtsan.so)
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${runtime_${VORNIX_SANITIZE}}
        OUTPUT_VARIABLE sanitizer_runtime OUTPUT_STRIP_TRAILING_WHITESPACE)
    set(VORNIX_PRELOAD "${sanitizer_runtime} ${VORNIX_PRELOAD}")
endif()

# No strict_string_checks: libxkbcommon copies an unterminated keymap when a window system is
# opened, and that check would end every program with a window. ThreadSanitizer's checks for leaked
# threads and for threads after a fork are off: the driver's threads end unjoined with the process,
# and one test of process exits forks and starts threads in the child.
set(VORNIX_TEST_ENVIRONMENT
    "QTEST_FUNCTION_TIMEOUT=1800000"
    "ASAN_OPTIONS=detect_stack_use_after_return=1"
    "UBSAN_OPTIONS=print_stacktrace=1"
    "LSAN_OPTIONS=suppressions=${PROJECT_SOURCE_DIR}/tests/fixtures/lsan.supp:print_suppressions=0"
    "TSAN_OPTIONS=suppressions=${PROJECT_SOURCE_DIR}/tests/fixtures/tsan.supp:second_deadlock_stack=1:report_thread_leaks=0:die_after_fork=0:ignore_noninstrumented_modules=1:halt_on_error=1")

# A test runs once or twice, so fast code is not worth the time of a better optimisation.
set(VORNIX_TEST_OPTIONS -pthread $<$<CONFIG:Release>:-O1>)

# The headers that take longest to compile, once for all test programs. GCC uses them only if they
# were compiled with the options of the program. These include -fPIE, which CMake gives to programs,
# and -pthread, which GLib of Debian 13 adds. (Qt before 6.8 adds -fPIC to everything.)
set_target_properties(vornix_test_support PROPERTIES POSITION_INDEPENDENT_CODE OFF)
target_compile_options(vornix_test_support PRIVATE
    ${CMAKE_CXX_COMPILE_OPTIONS_PIE} ${VORNIX_TEST_OPTIONS})
target_precompile_headers(vornix_test_support PRIVATE <QtCore>)

# A test that waits with a macro of Qt Test must have the longer limit of wait_limit.h.
function(vornix_check_waits)
    foreach(source IN LISTS ARGN)
        file(STRINGS ${source} waits REGEX "QTRY_(VERIFY|VERIFY2|COMPARE)\\(")
        file(STRINGS ${source} includes REGEX "^#include \"tests/fixtures/wait_limit.h\"")
        if(waits AND NOT includes)
            message(FATAL_ERROR "${source} waits and does not include tests/fixtures/wait_limit.h.")
        endif()
    endforeach()
endfunction()

function(vornix_test name)
    cmake_parse_arguments(arg "MOCKDEV;GL" "LABEL;TIMEOUT" "FILE;LINK" ${ARGN})
    if(NOT arg_FILE)
        set(arg_FILE ${name}.cpp)
    endif()
    if(NOT arg_LABEL)
        set(arg_LABEL unit)
    endif()
    if(NOT arg_TIMEOUT)
        set(arg_TIMEOUT 600)
    endif()
    add_executable(${name} ${arg_FILE})
    vornix_check_waits(${arg_FILE})
    target_compile_options(${name} PRIVATE ${VORNIX_TEST_OPTIONS})
    # The QTRY_ macros of Qt 6.8 narrow a number; the compiler warns in the file that uses them.
    if(Qt6_VERSION VERSION_GREATER_EQUAL 6.8)
        set_source_files_properties(${arg_FILE} PROPERTIES COMPILE_OPTIONS -Wno-conversion)
    endif()
    set_target_properties(${name} PROPERTIES AUTOMOC ON UNITY_BUILD OFF
        RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
    target_link_libraries(${name} PRIVATE vornix_flags Qt6::Test ${arg_LINK})
    target_precompile_headers(${name} REUSE_FROM vornix_test_support)
    # Automoc fills it only for classes in headers.
    set_source_files_properties(${CMAKE_CURRENT_BINARY_DIR}/${name}_autogen/mocs_compilation.cpp
        PROPERTIES SKIP_PRECOMPILE_HEADERS ON)
    add_test(NAME ${name} COMMAND ${name})
    set(environment ${VORNIX_TEST_ENVIRONMENT})
    if(arg_GL)
        list(TRANSFORM environment REPLACE "^ASAN_OPTIONS=" "ASAN_OPTIONS=detect_leaks=0:")
    endif()
    if(arg_MOCKDEV)
        list(APPEND environment "LD_PRELOAD=${VORNIX_PRELOAD}")
    endif()
    set_tests_properties(${name} PROPERTIES LABELS ${arg_LABEL} TIMEOUT ${arg_TIMEOUT}
        ENVIRONMENT "${environment}")
endfunction()
