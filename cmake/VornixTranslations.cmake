# Compiles resources/languages/translate_<code>.ts into languages/ beside the executable. Texts of
# Qt itself, for example on standard buttons, come from Qt's own catalogues at run time.
#
# The .ts files are sources: no build changes them. `cmake --build ... --target update-translations`
# updates them from the texts in src/; a test fails while a text is unfinished.

set(VORNIX_TS_DIR ${PROJECT_SOURCE_DIR}/resources/languages)

function(vornix_translations code)
    set(ts ${VORNIX_TS_DIR}/translate_${code}.ts)
    set(result ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/languages/translate_${code}.qm)
    add_custom_command(OUTPUT ${result}
        COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/languages
        COMMAND Qt6::lrelease -silent ${ts} -qm ${result}
        DEPENDS ${ts}
        COMMENT "Compiling translation ${code}"
        VERBATIM)
    add_custom_target(translation_${code} ALL DEPENDS ${result})
    set_property(GLOBAL APPEND PROPERTY VORNIX_TS_FILES ${ts})
endfunction()

function(vornix_update_translations_target)
    get_property(ts_files GLOBAL PROPERTY VORNIX_TS_FILES)
    add_custom_target(update-translations
        COMMAND Qt6::lupdate -silent -locations none -no-obsolete ${PROJECT_SOURCE_DIR}/src
            -ts ${ts_files}
        COMMENT "Bringing the translation sources up to date with src/"
        VERBATIM)
endfunction()
