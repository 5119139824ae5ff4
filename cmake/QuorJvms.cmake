# The JVMs that tests run on: those of the build's own pointer width. include(QuorJvms) sets
#
#   QUOR_JVMS                 their names. The first, `hotspot`, is the one that tests are written for: the JDK's own java,
#                             or QUOR_JVM32 in a 32-bit build. The others are called by their version: jdk21, jdk25
#   QUOR_JVM_<name>_JAVA      the java command
#   QUOR_JVM_<name>_VERSION   the version of the Java platform: 17, 21, 25
#
# The others are every JVM of version 21 or later in the distribution's usual folder, and those that the environment variable
# QUOR_JAVAS names (java commands separated by blanks, of any version). To have a test on each:
#
#   foreach(jvm IN LISTS QUOR_JVMS)
#       add_test(NAME gdb.backtrace.${jvm} COMMAND ... "${QUOR_JVM_${jvm}_JAVA}" ...)
#   endforeach()

set(QUOR_JVM_FOLDER /usr/lib/jvm CACHE PATH "Where the distribution puts JVMs: those of version 21 or later are tested on too")

# Gives the version and the pointer width of a java command; an empty version when it does not run.
function(quor_ask_java java version_out width_out)
    execute_process(COMMAND "${java}" -XshowSettings:properties -version
        OUTPUT_VARIABLE settings ERROR_VARIABLE settings RESULT_VARIABLE failed)
    string(REGEX MATCH "sun.arch.data.model = ([0-9]+)" _ "${settings}")
    set(bits "${CMAKE_MATCH_1}")
    string(REGEX MATCH " java\\.version = (1\\.[0-9]+|[0-9]+)" _ "${settings}") # 1.8.0_402, 17.0.15, 25-ea
    set(version "${CMAKE_MATCH_1}")
    if(failed OR NOT bits OR NOT version)
        set(version "")
        set(bits 0)
    endif()
    math(EXPR width "${bits} / 8")
    set(${version_out} "${version}" PARENT_SCOPE)
    set(${width_out} "${width}" PARENT_SCOPE)
endfunction()

# Appends a JVM to the lists, unless it is one of them already: many a folder of the distribution is a link to another.
macro(quor_add_jvm name java version)
    file(REAL_PATH "${java}" file)
    if(NOT file IN_LIST QUOR_JVM_FILES)
        set(jvm "${name}")
        foreach(number RANGE 2 9) # two builds of one version
            if(jvm IN_LIST QUOR_JVMS)
                set(jvm "${name}-${number}")
            endif()
        endforeach()
        list(APPEND QUOR_JVMS "${jvm}")
        list(APPEND QUOR_JVM_FILES "${file}")
        set(QUOR_JVM_${jvm}_JAVA "${java}")
        set(QUOR_JVM_${jvm}_VERSION "${version}")
    endif()
endmacro()

set(QUOR_JVMS "")
set(QUOR_JVM_FILES "")

if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    set(reference "${QUOR_JVM32}")
else()
    set(reference "${QUOR_JVM64}")
endif()
quor_ask_java("${reference}" version width)
if(NOT version OR NOT width EQUAL CMAKE_SIZEOF_VOID_P)
    message(FATAL_ERROR "${reference} is no java of this width that runs: script/bootstrap installs what the tests need")
endif()
quor_add_jvm(hotspot "${reference}" ${version})

file(GLOB javas "${QUOR_JVM_FOLDER}/*/bin/java")
list(SORT javas COMPARE NATURAL)
foreach(java IN LISTS javas)
    quor_ask_java("${java}" version width)
    if(version VERSION_GREATER_EQUAL 21 AND width EQUAL CMAKE_SIZEOF_VOID_P)
        quor_add_jvm(jdk${version} "${java}" ${version})
    endif()
endforeach()

separate_arguments(javas UNIX_COMMAND "$ENV{QUOR_JAVAS}")
foreach(java IN LISTS javas)
    find_program(command "${java}" NO_CACHE REQUIRED)
    quor_ask_java("${command}" version width)
    if(NOT version)
        message(FATAL_ERROR "QUOR_JAVAS names ${java}, which does not tell its version")
    endif()
    if(width EQUAL CMAKE_SIZEOF_VOID_P)
        quor_add_jvm(jdk${version} "${command}" ${version})
    endif()
    unset(command)
endforeach()

set(further "${QUOR_JVMS}")
list(POP_FRONT further)
list(JOIN further ", " further)
if(further STREQUAL "")
    set(further "no other of version 21 or later is in ${QUOR_JVM_FOLDER}, nor named by QUOR_JAVAS")
endif()
message(STATUS "JVMs that the tests run on: hotspot (${QUOR_JVM_hotspot_VERSION}); further: ${further}")
