/* fuzz.h: what the fuzz targets share. A target gives every input to a piece of the agent and aborts when that does not keep
 * its word; the sanitizers see the rest. script/fuzz builds and runs them, with what the agent tells people thrown away.
 */
#ifndef QUOR_FUZZ_H
#define QUOR_FUZZ_H

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

/* Standard error as it was before the fuzzer closed it. */
static const int report_fd = dup(STDERR_FILENO);

[[noreturn]] static inline void broken(const char* file, int line, const char* rule) {
    dprintf(report_fd, "%s:%d: not kept: %s\n", file, line, rule);
    abort();
}

#define require(rule) ((rule) ? (void)0 : broken(__FILE__, __LINE__, #rule))

#endif
