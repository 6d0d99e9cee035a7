# Assembles the program and its resources in BUILD/VeltraAgentStatusMonitor.app/.

find_program(VELTRA_LRELEASE lrelease REQUIRED HINTS /usr/lib/qt6/bin)

# A catalogue of texts with ids as keys: SOURCE.ts becomes the .qm of the same name in FOLDER.
function(veltra_catalogue out source folder)
    cmake_path(GET source STEM name)
    set(catalogue "${folder}/${name}.qm")
    add_custom_command(OUTPUT "${catalogue}"
        COMMAND "${CMAKE_COMMAND}" -E make_directory "${folder}"
        COMMAND "${VELTRA_LRELEASE}" -silent -idbased "${source}" -qm "${catalogue}"
        DEPENDS "${source}" VERBATIM)
    set(${out} "${catalogue}" PARENT_SCOPE)
endfunction()

# Gives a test program the program's catalogues, in the folder that VELTRA_TEST_CATALOGUES names.
function(veltra_test_catalogues test)
    set(folder "${CMAKE_CURRENT_BINARY_DIR}/${test}_catalogues")
    foreach(language IN ITEMS de en)
        veltra_catalogue(catalogue
            "${CMAKE_SOURCE_DIR}/resources/translations/VeltraAgentStatusMonitor_${language}.ts"
            "${folder}")
        target_sources(${test} PRIVATE "${catalogue}")
    endforeach()
    target_compile_definitions(${test} PRIVATE VELTRA_TEST_CATALOGUES="${folder}")
endfunction()

function(veltra_assemble_bundle program)
    set(contents "${CMAKE_BINARY_DIR}/VeltraAgentStatusMonitor.app/Contents")
    set(texts "${contents}/Resources/HelperApplication.bundle/Contents")
    set(resources "${CMAKE_SOURCE_DIR}/resources")

    set_target_properties(${program} PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${contents}/Linux")
    configure_file("${resources}/Info.plist.in" "${contents}/Info.plist" @ONLY)
    configure_file("${resources}/HelperApplication.bundle/Info.plist.in" "${texts}/Info.plist"
                   @ONLY)

    # Drawn from the scalable icon with rsvg-convert.
    file(COPY "${resources}/icons/" DESTINATION "${contents}/Resources")

    foreach(language en de)
        veltra_catalogue(catalogue
            "${resources}/translations/VeltraAgentStatusMonitor_${language}.ts"
            "${texts}/Resources")
        list(APPEND catalogues "${catalogue}")
    endforeach()
    add_custom_target(veltra_catalogues ALL DEPENDS ${catalogues})
    add_dependencies(${program} veltra_catalogues)
endfunction()
