# How everything here is compiled.
#
# quor_warnings        link to it (PRIVATE) to get the warnings, all of them errors
# QUOR_TEST_ENVIRONMENT  the environment that each test runs in, one NAME=value an item

add_library(quor_warnings INTERFACE)
target_compile_options(quor_warnings INTERFACE -Wall -Wextra -Wshadow -Wconversion -Werror)

set(QUOR_TEST_ENVIRONMENT
    "ASAN_OPTIONS=detect_leaks=1:detect_stack_use_after_return=1:strict_string_checks=1"
    "UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1"
    "TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1")

if(QUOR_SANITIZE)
    # The agent is compiled without the type information that the check of vtable pointers reads.
    add_compile_options(-fsanitize=${QUOR_SANITIZE} -fno-sanitize=vptr -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${QUOR_SANITIZE})
endif()
