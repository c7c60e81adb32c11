# Targets for people: format, check-format, tidy. No build depends on them.

file(GLOB_RECURSE VORNIX_OWN_SOURCES CONFIGURE_DEPENDS
    src/*.h src/*.cpp sim/*.h sim/*.cpp tests/*.h tests/*.cpp bench/*.h bench/*.cpp fuzz/*.h fuzz/*.cpp)

find_program(CLANG_FORMAT clang-format)
if(CLANG_FORMAT)
    add_custom_target(format COMMAND ${CLANG_FORMAT} -i ${VORNIX_OWN_SOURCES}
        WORKING_DIRECTORY ${PROJECT_SOURCE_DIR})
    add_custom_target(check-format COMMAND ${CLANG_FORMAT} --dry-run --Werror ${VORNIX_OWN_SOURCES}
        WORKING_DIRECTORY ${PROJECT_SOURCE_DIR})
endif()

find_program(RUN_CLANG_TIDY NAMES run-clang-tidy run-clang-tidy-14)
if(RUN_CLANG_TIDY)
    add_custom_target(tidy COMMAND ${RUN_CLANG_TIDY} -quiet -p ${CMAKE_BINARY_DIR}
        "${PROJECT_SOURCE_DIR}/(src|sim)/.*\\.cpp"
        WORKING_DIRECTORY ${PROJECT_SOURCE_DIR})
endif()
