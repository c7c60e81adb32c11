# One INTERFACE target carries every compiler flag of the project; vornix_library() and
# vornix_test() give each folder and each test file the same shape.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

add_library(vornix_flags INTERFACE)
target_compile_options(vornix_flags INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wold-style-cast -Wnon-virtual-dtor)
if(VORNIX_WARNINGS_AS_ERRORS)
    target_compile_options(vornix_flags INTERFACE -Werror)
endif()
target_compile_definitions(vornix_flags INTERFACE QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII
    BOOST_BIND_GLOBAL_PLACEHOLDERS)
target_include_directories(vornix_flags INTERFACE ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR})

include(VornixHardening)
if(VORNIX_SANITIZE STREQUAL "address")
    target_compile_options(vornix_flags INTERFACE -fsanitize=address,undefined -fno-sanitize-recover=undefined
        -fno-omit-frame-pointer)
    target_link_options(vornix_flags INTERFACE -fsanitize=address,undefined)
elseif(VORNIX_SANITIZE STREQUAL "thread")
    # GCC warns that it does not model the fences Asio uses; Asio pairs them with atomics it does model.
    target_compile_options(vornix_flags INTERFACE -fsanitize=thread -fno-omit-frame-pointer -Wno-tsan)
    target_link_options(vornix_flags INTERFACE -fsanitize=thread)
elseif(VORNIX_SANITIZE)
    message(FATAL_ERROR "VORNIX_SANITIZE is \"${VORNIX_SANITIZE}\": use address, thread or nothing")
endif()
if(VORNIX_COVERAGE)
    # Counters must be atomic, because threads count the same lines. Programs that end without
    # destructors need a library that writes their counts.
    add_library(vornix_coverage STATIC ${PROJECT_SOURCE_DIR}/cmake/coverage_exit.cpp)
    target_compile_options(vornix_flags INTERFACE --coverage -fprofile-update=atomic)
    target_link_options(vornix_flags INTERFACE --coverage
        LINKER:--wrap=_exit LINKER:--wrap=_Exit)
    target_link_libraries(vornix_flags INTERFACE vornix_coverage)
endif()
if(VORNIX_FUZZ)
    # Every finding ends the run, also the misuse of a container of the standard library.
    target_compile_options(vornix_flags INTERFACE -fsanitize=fuzzer-no-link,address,undefined
        -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_compile_definitions(vornix_flags INTERFACE _GLIBCXX_ASSERTIONS)
    target_link_options(vornix_flags INTERFACE -fsanitize=address,undefined)
endif()

# vornix_library(NAME SOURCES file... [LINK target...]): the one static library of a folder. Its
# sources may include only headers of itself and of the libraries that it links, also indirectly.
function(vornix_library name)
    cmake_parse_arguments(arg "" "" "SOURCES;LINK" ${ARGN})
    add_library(${name} STATIC ${arg_SOURCES})
    set_target_properties(${name} PROPERTIES AUTOMOC ON AUTOUIC ON)
    target_link_libraries(${name} PUBLIC vornix_flags ${arg_LINK})
    vornix_check_includes(${name} "${arg_SOURCES}" "${arg_LINK}")
endfunction()

# All headers are on one include path, so the compiler accepts the header of any library. This
# check stops the configuration instead.
function(vornix_check_includes name sources links)
    set(reachable ${name})
    foreach(link IN LISTS links)
        get_property(indirect GLOBAL PROPERTY VORNIX_REACHABLE_${link})
        list(APPEND reachable ${link} ${indirect})
    endforeach()
    set_property(GLOBAL PROPERTY VORNIX_REACHABLE_${name} "${reachable}")

    file(RELATIVE_PATH folder ${PROJECT_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR})
    string(REGEX REPLACE "^src/" "" folder "${folder}")
    foreach(source IN LISTS sources)
        set_property(GLOBAL PROPERTY VORNIX_OWNER_${folder}/${source} ${name})
    endforeach()
    foreach(source IN LISTS sources)
        if(NOT source MATCHES "^[a-z_]+\\.(h|cpp)$")
            continue()
        endif()
        file(STRINGS ${source} includes REGEX "^#include \"[a-z_]+/")
        foreach(line IN LISTS includes)
            string(REGEX REPLACE "^#include \"([^\"]+)\".*" "\\1" header "${line}")
            get_property(owner GLOBAL PROPERTY VORNIX_OWNER_${header})
            if(NOT owner IN_LIST reachable)
                message(FATAL_ERROR "${folder}/${source} includes ${header}, "
                    "but ${name} does not link the library of that header.")
            endif()
        endforeach()
    endforeach()
endfunction()
