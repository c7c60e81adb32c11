# The files that Debian requires in /usr/share/doc of each package: the copyright file and two change
# logs, one of the program and one of the package, which differ in form only. Also installs the
# lintian overrides.

find_program(GZIP gzip REQUIRED)
set(changelog ${PROJECT_SOURCE_DIR}/CHANGELOG.md)
set(writer ${CMAKE_CURRENT_SOURCE_DIR}/debian_changelog.py)

foreach(package IN LISTS packages)
    set(folder ${CMAKE_CURRENT_BINARY_DIR}/${package})
    file(MAKE_DIRECTORY ${folder})
    add_custom_command(OUTPUT ${folder}/changelog.gz ${folder}/changelog.Debian.gz
        COMMAND ${GZIP} -9 --no-name < ${changelog} > ${folder}/changelog.gz
        COMMAND ${writer} ${package} ${PROJECT_VERSION}-${package_revision} ${VORNIX_RELEASE_DATE}
            "${maintainer}" < ${changelog} > ${folder}/changelog.Debian
        COMMAND ${GZIP} -9 --no-name --force ${folder}/changelog.Debian
        DEPENDS ${changelog} ${writer}
        VERBATIM)
    list(APPEND documents ${folder}/changelog.gz ${folder}/changelog.Debian.gz)
    set(more_overrides "")
    if(package STREQUAL vornix-cli)
        string(CONCAT more_overrides
            "# Software centres offer programs with a window: the package vornix names these devices.\n"
            "${package}: appstream-metadata-missing-modalias-provide *\n")
    endif()
    configure_file(lintian-overrides.in ${folder}/lintian-overrides @ONLY)
    set(destination ${CMAKE_INSTALL_DATADIR}/doc/${package})
    install(FILES ${PROJECT_SOURCE_DIR}/COPYRIGHT RENAME copyright
        DESTINATION ${destination} COMPONENT ${package})
    install(FILES ${folder}/changelog.gz ${folder}/changelog.Debian.gz
        DESTINATION ${destination} COMPONENT ${package})
    install(FILES ${folder}/lintian-overrides RENAME ${package}
        DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides COMPONENT ${package})
endforeach()
add_custom_target(package_documents ALL DEPENDS ${documents})
