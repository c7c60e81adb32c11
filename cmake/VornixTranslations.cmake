# Compiles resources/languages/translate_<code>.ts into languages/ beside the executable, with Qt's
# own catalogue of that language merged in, so that standard buttons speak it too.
#
# The .ts files are sources: no build touches them. `cmake --build ... --target update-translations`
# brings them up to date with the texts in src/; a test fails while a text is unfinished.

# Tools and catalogues come from wherever the Qt in use was installed.
get_target_property(qt_qmake Qt6::qmake IMPORTED_LOCATION)
execute_process(COMMAND ${qt_qmake} -query QT_INSTALL_TRANSLATIONS
    OUTPUT_VARIABLE VORNIX_QT_TRANSLATIONS OUTPUT_STRIP_TRAILING_WHITESPACE)

set(VORNIX_TS_DIR ${PROJECT_SOURCE_DIR}/resources/languages)

function(vornix_translations code)
    set(ts ${VORNIX_TS_DIR}/translate_${code}.ts)
    set(own ${CMAKE_CURRENT_BINARY_DIR}/own_${code}.qm)
    set(result ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/languages/translate_${code}.qm)
    find_file(VORNIX_QT_CATALOGUE_${code} qtbase_${code}.qm PATHS ${VORNIX_QT_TRANSLATIONS}
        NO_DEFAULT_PATH REQUIRED)
    add_custom_command(OUTPUT ${result}
        COMMAND Qt6::lrelease -silent ${ts} -qm ${own}
        COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/languages
        COMMAND Qt6::lconvert -o ${result} -of qm -i ${own} -i ${VORNIX_QT_CATALOGUE_${code}}
        DEPENDS ${ts} ${VORNIX_QT_CATALOGUE_${code}}
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
