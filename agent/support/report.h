/* report.h: the agent's messages on standard output, for failures that a person must see whether or not logging is on.
 *
 * Formats are constants of the agent that the compiler holds against their arguments; text from outside only ever fills a
 * "%s".
 */
#ifndef QUOR_REPORT_H
#define QUOR_REPORT_H

#include "support/agent_types.h"
#include "support/format.h"

/* Prints `format`, whose one "%s" receives the name of the VM error code `err`, and returns `err`, so that a failed call
 * is reported and left in one line. */
jint report_failure(failure_format format, jint err);

/* Flushes standard output (abort does not, and a JVM's output is often a pipe) and aborts. */
[[noreturn]] void agent_abort();

/* Prints the message and does the same. */
[[noreturn]] void agent_fatal(const char* format, ...) __attribute__((format(printf, 1, 2)));

/* The same for a message whose "%s" receives the name of a VM error code. */
[[noreturn]] void agent_fatal_error(failure_format format, jint err);

#endif
