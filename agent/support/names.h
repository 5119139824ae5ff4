/* names.h: tables that give a number's name, and their one look-up. */
#ifndef QUOR_NAMES_H
#define QUOR_NAMES_H

#include "support/agent_types.h"

#include <stddef.h>
#include <stdio.h>

struct number_name {
    jint number;
    const char* name;
};

/* Holds "UNKNOWN " and any jint. */
typedef char unknown_name[sizeof("UNKNOWN -2147483648")];

static inline const char* unknown_text(jint number, unknown_name& unknown) {
    snprintf(unknown, sizeof unknown, "UNKNOWN %d", number);
    return unknown;
}

/* The name of `number` in `rows`; for a number without a row "UNKNOWN %d" with the number, written into `unknown`. */
template <size_t N>
static inline const char* name_or_unknown(const number_name (&rows)[N], jint number, unknown_name& unknown) {
    for (const number_name& row : rows) {
        if (row.number == number) return row.name;
    }
    return unknown_text(number, unknown);
}

#endif
