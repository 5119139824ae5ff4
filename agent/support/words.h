/* words.h: formats for thread ids and references, which are as wide as a pointer.
 *
 * The texts that debugger users know write such words with "%d" and "%x". Here each of these conversions gets the "l" that
 * it needs while the program is compiled, so the texts stay as they are and no id is ever cut, whatever the width.
 */
#ifndef QUOR_WORDS_H
#define QUOR_WORDS_H

#include <jni.h>
#include <stddef.h>
#include <stdint.h>
#include <type_traits>

/* A string literal as a template argument. */
template <size_t N> struct format_literal {
    char text[N];
    constexpr format_literal(const char (&literal)[N]) {
        for (size_t i = 0; i < N; i++) text[i] = literal[i];
    }
};

/* The literal with "%d", "%u" and "%x" (flags and width included) widened to "%ld", "%lu" and "%lx". */
template <size_t N> struct wide_format {
    char text[2 * N];
    constexpr wide_format(const format_literal<N>& from) : text() {
        size_t out = 0;
        bool in_conversion = false;
        for (size_t i = 0; i < N; i++) {
            const char c = from.text[i];
            if (in_conversion && (c == 'd' || c == 'u' || c == 'x')) {
                text[out++] = 'l';
                in_conversion = false;
            } else if (in_conversion && !(c == '.' || c == '-' || c == '#' || (c >= '0' && c <= '9'))) {
                in_conversion = false; /* "%s", "%%", or one that names its own length */
            } else if (c == '%') {
                in_conversion = true;
            }
            text[out++] = c;
        }
    }
};

template <format_literal F> inline constexpr wide_format widened{F};

static inline const char* as_word(const char* text) { return text; }
static inline uintptr_t as_word(const void* reference) { return (uintptr_t)reference; }
/* Numbers become long; a 64-bit number (a location, say) stays one, its conversion is "%lld". */
template <class T> static inline auto as_word(T number) requires std::is_integral_v<T> {
    if constexpr (sizeof(T) > sizeof(long))
        return number;
    else
        return (long)number;
}

#endif
