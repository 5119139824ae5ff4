# quor_add_java(TARGET FOLDER SOURCE...): compiles Java programs into FOLDER, once, with all debug information, and with every build.
function(quor_add_java target folder)
    set(stamp "${folder}.stamp")
    add_custom_command(OUTPUT "${stamp}"
        COMMAND ${CMAKE_COMMAND} -E rm -rf "${folder}"
        COMMAND "${QUOR_JAVAC}" --release 17 -g -XDignore.symbol.file -d "${folder}" ${ARGN}
        COMMAND ${CMAKE_COMMAND} -E touch "${stamp}"
        DEPENDS ${ARGN} VERBATIM)
    add_custom_target(${target} ALL DEPENDS "${stamp}")
endfunction()
