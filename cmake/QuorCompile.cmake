# How everything here is compiled. Link to quor_warnings (PRIVATE) to get the warnings, all of them errors.

add_library(quor_warnings INTERFACE)
target_compile_options(quor_warnings INTERFACE -Wall -Wextra -Wshadow -Wconversion -Werror)

if(QUOR_SANITIZE)
    # The agent is compiled without the type information that the check of vtable pointers reads.
    add_compile_options(-fsanitize=${QUOR_SANITIZE} -fno-sanitize=vptr -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${QUOR_SANITIZE})
endif()
