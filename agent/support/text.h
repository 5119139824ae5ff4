/* text.h: texts in the fixed fields of records, and what the signature of a type tells. */
#ifndef QUOR_TEXT_H
#define QUOR_TEXT_H

#include <string.h>

/* Copies a text into a field: as much as fits, and a NUL. */
template <size_t N> static inline void copy_text(char (&field)[N], const char* text) {
    const size_t length = strnlen(text, N - 1);
    memcpy(field, text, length);
    field[length] = '\0';
}

/* Whether a type whose signature begins so is a reference: a class or an array. */
static inline bool is_reference_type(char signature_type) { return signature_type == 'L' || signature_type == '['; }

#endif
