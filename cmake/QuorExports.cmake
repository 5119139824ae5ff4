# quor_version_script(LIST OUTPUT): writes a linker version script that exports the names of LIST and no others.
# Each line of LIST is "F name" (function) or "G name" (global).
function(quor_version_script list output)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${list}")
    file(STRINGS "${list}" lines)
    set(names "")
    foreach(line IN LISTS lines)
        if(NOT line MATCHES "^[FG] ([A-Za-z_][A-Za-z0-9_]*)$")
            message(FATAL_ERROR "${list}: not \"F name\" or \"G name\": ${line}")
        endif()
        string(APPEND names "        ${CMAKE_MATCH_1};\n")
    endforeach()
    file(CONFIGURE OUTPUT "${output}" CONTENT "{\n    global:\n@names@    local: *;\n};\n" @ONLY)
endfunction()
