# Finds the JDK 17 whose headers the agent is compiled against and whose javac and java the tests use.
# Machines have other JDKs too (in PATH, in JAVA_HOME): only JAVA_HOME_17, as a cache or an environment variable,
# overrides Debian's own places.
#
# Sets JAVA_HOME_17, QUOR_JAVAC and QUOR_JVM64 (the JDK's own java); makes the target Jdk17::headers.

file(GLOB debian_jdks LIST_DIRECTORIES true /usr/lib/jvm/java-17-openjdk-*)
if(NOT JAVA_HOME_17)
    find_path(JAVA_HOME_17 NAMES include/jvmti.h
        PATHS ENV JAVA_HOME_17 ${debian_jdks} NO_DEFAULT_PATH DOC "JDK 17 with headers and javac")
endif()
find_program(QUOR_JAVAC javac PATHS "${JAVA_HOME_17}/bin" NO_DEFAULT_PATH DOC "javac of the JDK 17")
find_program(QUOR_JVM64 java PATHS "${JAVA_HOME_17}/bin" NO_DEFAULT_PATH DOC "64-bit java of the JDK 17")
mark_as_advanced(QUOR_JAVAC QUOR_JVM64)

if(EXISTS "${JAVA_HOME_17}/release")
    file(STRINGS "${JAVA_HOME_17}/release" Jdk17_VERSION REGEX "^JAVA_VERSION=")
    string(REGEX REPLACE "^JAVA_VERSION=\"(.*)\"$" "\\1" Jdk17_VERSION "${Jdk17_VERSION}")
    if(NOT Jdk17_VERSION MATCHES "^17(\\.|$)")
        message(FATAL_ERROR "${JAVA_HOME_17} holds version ${Jdk17_VERSION}, a JDK 17 is needed: set JAVA_HOME_17")
    endif()
endif()

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(Jdk17
    REQUIRED_VARS JAVA_HOME_17 QUOR_JAVAC QUOR_JVM64
    VERSION_VAR Jdk17_VERSION
    REASON_FAILURE_MESSAGE "Install openjdk-17-jdk-headless, or set JAVA_HOME_17.")

if(Jdk17_FOUND AND NOT TARGET Jdk17::headers)
    add_library(Jdk17::headers INTERFACE IMPORTED)
    target_include_directories(Jdk17::headers SYSTEM INTERFACE
        "${JAVA_HOME_17}/include" "${JAVA_HOME_17}/include/linux")
endif()
