# What desktops, packages and manual pages call the program, each said once. A maker who ships it
# under a name and an address of his own sets these (and src/dialogs/maker.h).

set(VORNIX_HOMEPAGE "https://www.example.com" CACHE STRING "Website of the maker")
set(VORNIX_APP_ID "com.example.vornix" CACHE STRING
    "Name of the program among all: the maker's domain turned round, then the program's")
# Of PROJECT_VERSION; not the day of the build, so that two builds of a release are alike.
set(VORNIX_RELEASE_DATE "2026-11-20" CACHE STRING "Day of the release, YYYY-MM-DD")

# The same in seconds since 1970: the time of everything that carries one in a page or a package.
execute_process(COMMAND date --utc --date=${VORNIX_RELEASE_DATE} +%s
    OUTPUT_VARIABLE VORNIX_RELEASE_EPOCH OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
