/* The options of the sanitizers, built into each test so that a run by hand is as strict as one under ctest.
 * An option in ASAN_OPTIONS, UBSAN_OPTIONS or TSAN_OPTIONS overrides the one here; so does a test that defines the
 * function itself.
 */
#define OVERRIDABLE extern "C" __attribute__((weak))

OVERRIDABLE const char* __asan_default_options();
OVERRIDABLE const char* __ubsan_default_options();
OVERRIDABLE const char* __tsan_default_options();
OVERRIDABLE const char* __tsan_default_suppressions();

const char* __asan_default_options() {
    return "detect_leaks=1:detect_stack_use_after_return=1:strict_string_checks=1:check_initialization_order=1";
}

const char* __ubsan_default_options() { return "halt_on_error=1:print_stacktrace=1"; }

const char* __tsan_default_options() { return "halt_on_error=1:second_deadlock_stack=1"; }

/* The answers of a stop are given back without the map's lock, since the other threads stand still then. A thread of the
 * simulated VM that comes to its end at that moment is not stopped by anything before it has left the map. */
const char* __tsan_default_suppressions() { return "race:TMap_freelocal\n"; }
