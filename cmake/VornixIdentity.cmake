# Names of the program for desktops, packages and manual pages, each set in one place. A maker who
# ships it under another name and address sets these (and src/dialogs/manufacturer.h).

set(VORNIX_HOMEPAGE "https://www.example.com" CACHE STRING "Website of the maker")
set(VORNIX_APP_ID "com.example.vornix" CACHE STRING
    "Name of the program among all: the maker's domain turned round, then the program's")
# Release date of PROJECT_VERSION. It is not the build date, so that two builds of a release are
# identical.
set(VORNIX_RELEASE_DATE "2026-11-20" CACHE STRING "Day of the release, YYYY-MM-DD")

# The same in seconds since 1970: the timestamp in manual pages and packages.
execute_process(COMMAND date --utc --date=${VORNIX_RELEASE_DATE} +%s
    OUTPUT_VARIABLE VORNIX_RELEASE_EPOCH OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
