#include "support/report.h"

#include "support/err_str.h"

#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>

jint report_failure(failure_format format, jint err) {
    printf(format.text, err_str(err));
    return err;
}

void agent_abort() {
    fflush(stdout);
    abort();
}

void agent_fatal(const char* format, ...) {
    va_list args;
    va_start(args, format);
    vprintf(format, args);
    va_end(args);
    agent_abort();
}

void agent_fatal_error(failure_format format, jint err) {
    report_failure(format, err);
    agent_abort();
}
