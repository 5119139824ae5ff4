/* text.h: texts in the fixed fields of records. */
#ifndef QUOR_TEXT_H
#define QUOR_TEXT_H

#include <string.h>

/* Copies a text into a field: as much as fits, and a NUL. */
template <size_t N> static inline void copy_text(char (&field)[N], const char* text) {
    const size_t length = strnlen(text, N - 1);
    memcpy(field, text, length);
    field[length] = '\0';
}

#endif
