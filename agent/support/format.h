/* format.h: formats that are held against their arguments while the program is compiled.
 *
 * The compiler's own check of printf stops where a format is passed on. A checked_format takes it up there: it can be made
 * only of a constant text that fits the types named, so that a text from outside, a missing argument or one of the wrong
 * type does not compile.
 */
#ifndef QUOR_FORMAT_H
#define QUOR_FORMAT_H

#include <stddef.h>
#include <type_traits>

/* Whether a value of type T can be written with a conversion character whose length is `longs` "l"s. As numbers are widened to
 * a word before they are written (words.h), an int fits "%d" and so does a thread id; "%s" takes a text and nothing else. */
template <class T> constexpr bool fits_conversion(char conversion, int longs) {
    using Bare = std::remove_cv_t<std::remove_reference_t<T>>;
    constexpr bool is_text = std::is_convertible_v<T, const char*> && !std::is_same_v<Bare, decltype(nullptr)>;
    if (conversion == 's') return is_text && longs == 0;
    if (is_text || !(conversion == 'd' || conversion == 'u' || conversion == 'x')) return false;
    if constexpr (std::is_pointer_v<Bare>)
        return longs < 2; /* a reference, shown as a number */
    else if constexpr (std::is_integral_v<Bare>)
        return longs < 2 ? sizeof(Bare) <= sizeof(long) : sizeof(Bare) == sizeof(long long);
    else
        return false;
}

/* The same for the argument of the given number; false for one that there is not. */
template <class... Args>
constexpr bool argument_fits(size_t argument, [[maybe_unused]] char conversion, [[maybe_unused]] int longs) {
    [[maybe_unused]] size_t at = 0;
    bool fits = false;
    ((fits = at++ == argument ? fits_conversion<Args>(conversion, longs) : fits), ...);
    return fits;
}

/* Whether the format's conversions are those of arguments of these types, one each. */
template <class... Args> constexpr bool format_fits(const char* format) {
    size_t arguments = 0;
    while (*format) {
        if (*format++ != '%') continue;
        if (*format == '%') {
            format++;
            continue;
        }
        while (*format == '-' || *format == '#' || *format == '.' || (*format >= '0' && *format <= '9')) format++;
        int longs = 0;
        for (; *format == 'l'; format++) longs++;
        if (!argument_fits<Args...>(arguments++, *format, longs)) return false;
        format++;
    }
    return arguments == sizeof...(Args);
}

/* Declared and never defined: to call it is what the compiler objects to. */
void format_does_not_fit_its_arguments();

template <class... Args> struct checked_format {
    const char* text;
    consteval checked_format(const char* constant) : text(constant) {
        if (!format_fits<Args...>(constant)) format_does_not_fit_its_arguments();
    }
};

/* A message whose one "%s" receives the name of a VM error code. */
using failure_format = checked_format<const char*>;

#endif
