# Finds the JDK whose headers the agent is compiled against and whose javac and java the tests use. Any from version 17 on
# will do. QUOR_JDK, as a cache or an environment variable, names its folder; else it is the oldest in the distribution's own
# place (so that the tests run on the same one on most machines), else what JAVA_HOME names.
#
# Sets QUOR_JDK, QUOR_JAVAC and QUOR_JVM64 (the JDK's own java); makes the target Jdk::headers.

function(quor_jdk_version folder out)
    set(version "")
    if(EXISTS "${folder}/include/jvmti.h" AND EXISTS "${folder}/bin/javac" AND EXISTS "${folder}/release")
        file(STRINGS "${folder}/release" version REGEX "^JAVA_VERSION=")
        string(REGEX REPLACE "^JAVA_VERSION=\"(.*)\"$" "\\1" version "${version}")
    endif()
    set(${out} "${version}" PARENT_SCOPE)
endfunction()

function(quor_find_jdk)
    file(GLOB folders LIST_DIRECTORIES true /usr/lib/jvm/*)
    set(oldest "")
    foreach(folder IN LISTS folders)
        quor_jdk_version("${folder}" version)
        if(version VERSION_GREATER_EQUAL 17 AND (NOT oldest OR version VERSION_LESS oldest))
            set(oldest "${version}")
            file(REAL_PATH "${folder}" found)
        endif()
    endforeach()
    if(DEFINED ENV{QUOR_JDK})
        set(found "$ENV{QUOR_JDK}")
    elseif(NOT found)
        set(found "$ENV{JAVA_HOME}")
    endif()
    set(QUOR_JDK "${found}" CACHE PATH "JDK with headers and javac, of version 17 or later" FORCE)
endfunction()

if(NOT QUOR_JDK)
    quor_find_jdk()
endif()
quor_jdk_version("${QUOR_JDK}" Jdk_VERSION)
set(QUOR_JAVAC "${QUOR_JDK}/bin/javac")
set(QUOR_JVM64 "${QUOR_JDK}/bin/java")

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(Jdk
    REQUIRED_VARS QUOR_JDK Jdk_VERSION
    VERSION_VAR Jdk_VERSION
    REASON_FAILURE_MESSAGE "Install a JDK with headers (default-jdk-headless), or set QUOR_JDK to its folder.")

if(NOT TARGET Jdk::headers)
    add_library(Jdk::headers INTERFACE IMPORTED)
    target_include_directories(Jdk::headers SYSTEM INTERFACE "${QUOR_JDK}/include" "${QUOR_JDK}/include/linux")
endif()
