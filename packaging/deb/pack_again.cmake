# CPack runs this script on the packages it has made. dpkg-deb packs each of them again, with the day
# of the release as the time of every file, and with world-readable folders independent of the umask.
# So two builds of a release give the same bytes.

function(run)
    execute_process(COMMAND ${ARGN} OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
endfunction()

foreach(package IN LISTS CPACK_PACKAGE_FILES)
    set(tree ${package}.tree)
    file(REMOVE_RECURSE ${tree})
    run(dpkg-deb --raw-extract ${package} ${tree})
    run(find ${tree} -type d -exec chmod 0755 {} +)
    run(find ${tree} -exec touch --no-dereference --date=@${CPACK_VORNIX_RELEASE_EPOCH} {} +)
    # One thread: with more threads xz splits its input into blocks.
    run(${CMAKE_COMMAND} -E env SOURCE_DATE_EPOCH=${CPACK_VORNIX_RELEASE_EPOCH}
        dpkg-deb --root-owner-group --threads-max=1 -Zxz --build ${tree} ${package})
    file(REMOVE_RECURSE ${tree})
endforeach()
