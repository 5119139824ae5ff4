# What `cmake --install` puts where. Both widths fit under one prefix: each library goes to its own of the folders in which
# the system's loader looks. The debugger's side and the documents lie to each other as they do here.

if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    set(QUOR_TRIPLET i386-linux-gnu)
else()
    set(QUOR_TRIPLET x86_64-linux-gnu)
endif()
set(CMAKE_INSTALL_LIBDIR "lib/${QUOR_TRIPLET}" CACHE PATH "Where the library goes, below the prefix")
include(GNUInstallDirs)

# quor_headers_of(FOLDER OUT NAME...): the named headers of the folder and those of it that they include.
function(quor_headers_of folder out)
    set(todo ${ARGN})
    set(headers "")
    while(todo)
        list(POP_FRONT todo name)
        list(APPEND headers "${name}")
        set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${folder}/${name}")
        file(STRINGS "${folder}/${name}" lines REGEX "^#include \"")
        list(TRANSFORM lines REPLACE "^#include \"([^\"]+)\".*" "\\1")
        list(APPEND todo ${lines})
        list(REMOVE_ITEM todo ${headers})
        list(REMOVE_DUPLICATES todo)
    endwhile()
    set(${out} "${headers}" PARENT_SCOPE)
endfunction()

# What a debugger calls, where it stops, and the globals that it reads and writes.
quor_headers_of("${PROJECT_SOURCE_DIR}/agent" public_headers
    entry/agent_entry.h event/hook_points.h
    agent_thread/attach_stop.h agent_thread/control_c.h load/handshake.h
    registry/agent_tmap.h registry/agent_uref.h registry/prep_list.h
    support/agent_self.h vm/vm_interface.h)

set(package_dir "${CMAKE_INSTALL_DATADIR}/quor_agent")
install(TARGETS quor_agent LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}")
foreach(header IN LISTS public_headers)
    cmake_path(GET header PARENT_PATH room)
    install(FILES "agent/${header}" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/quor_agent/${room}")
endforeach()
install(FILES README.md CHANGELOG.md DESTINATION "${package_dir}")
install(DIRECTORY docs gdb DESTINATION "${package_dir}" PATTERN __pycache__ EXCLUDE)
