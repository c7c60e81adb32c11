# Builds release programs with the hardening flags of Debian on every system. The result is the same
# bytes in every source and build directory.
#
# Release builds only: _FORTIFY_SOURCE needs an optimizer, and a sanitizer checks the same itself.

include(CheckCXXCompilerFlag)
include(CheckLinkerFlag)
include(CheckPIESupported)

if(NOT CMAKE_BUILD_TYPE STREQUAL "Release" OR VORNIX_SANITIZE OR VORNIX_COVERAGE OR VORNIX_FUZZ)
    return()
endif()

# Without this check CMake compiles for a position independent executable, but does not link one.
check_pie_supported(OUTPUT_VARIABLE pie_problem LANGUAGES CXX)
if(NOT CMAKE_CXX_LINK_PIE_SUPPORTED)
    message(STATUS "No position independent executables here: ${pie_problem}")
endif()

# Each flag is used only if compiler and processor support it.
foreach(flag -fstack-protector-strong -fstack-clash-protection -fcf-protection
        -mbranch-protection=standard)
    string(MAKE_C_IDENTIFIER "VORNIX_HAS${flag}" known)
    check_cxx_compiler_flag(${flag} ${known})
    if(${known})
        target_compile_options(vornix_flags INTERFACE ${flag})
    endif()
endforeach()
# Some compilers set a level by default and warn about a second one, so the default is removed first.
target_compile_options(vornix_flags INTERFACE -Wformat -Werror=format-security
    -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)

foreach(flag relro now)
    check_linker_flag(CXX "LINKER:-z,${flag}" VORNIX_LINKS_${flag})
    if(VORNIX_LINKS_${flag})
        target_link_options(vornix_flags INTERFACE "LINKER:-z,${flag}")
    endif()
endforeach()

# If both prefixes match, the later one counts; the build tree is often inside the source tree.
target_compile_options(vornix_flags INTERFACE
    "-ffile-prefix-map=${PROJECT_SOURCE_DIR}=." "-ffile-prefix-map=${CMAKE_BINARY_DIR}=build")
