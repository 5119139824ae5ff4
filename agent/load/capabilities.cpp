#include "load/capabilities.h"

#include "support/err_str.h"
#include "support/log_agent.h"
#include "support/report.h"
#include "vm/vm_interface.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static const char LOG_SOURCE[] = "agent_main.c";

enum : uint32_t { REQUESTED_WORD_0 = 0x3b1f5ffe, OBJECT_FREE_EVENTS = 1 };
/* The events of exceptions, frame pops and method exits: a VM that can report any of them takes the slow way at every throw. */
enum : uint32_t { SLOWS_THROWS = 1u << 17 | 1u << 18 | 1u << 25 };
enum { CAPABILITIES_1_0 = 33 };

/* The capabilities of JVMTI 1.0; each one's place is its bit, counted over the record's words. */
static const char* const capability_names[CAPABILITIES_1_0] = {
    "can_tag_objects",
    "can_generate_field_modification_events",
    "can_generate_field_access_events",
    "can_get_bytecodes",
    "can_get_synthetic_attribute",
    "can_get_owned_monitor_info",
    "can_get_current_contended_monitor",
    "can_get_monitor_info",
    "can_pop_frame",
    "can_redefine_classes",
    "can_signal_thread",
    "can_get_source_file_name",
    "can_get_line_numbers",
    "can_get_source_debug_extension",
    "can_access_local_variables",
    "can_maintain_original_method_order",
    "can_generate_single_step_events",
    "can_generate_exception_events",
    "can_generate_frame_pop_events",
    "can_generate_breakpoint_events",
    "can_suspend",
    "can_redefine_any_class",
    "can_get_current_thread_cpu_time",
    "can_get_thread_cpu_time",
    "can_generate_method_entry_events",
    "can_generate_method_exit_events",
    "can_generate_all_class_hook_events",
    "can_generate_compiled_method_load_events",
    "can_generate_monitor_events",
    "can_generate_vm_object_alloc_events",
    "can_generate_native_method_bind_events",
    "can_generate_garbage_collection_events",
    "can_generate_object_free_events",
};

enum { MONITOR_EVENTS = 28 /* can_generate_monitor_events, which a refusal's table names first */ };

/* The first words of a capabilities record, as numbers. */
struct capability_words {
    uint32_t word[sizeof(jvmtiCapabilities) / sizeof(uint32_t)];

    explicit capability_words(const jvmtiCapabilities& record) { memcpy(word, &record, sizeof word); }
    void copy_to(jvmtiCapabilities* record) const { memcpy((void*)record, word, sizeof word); }
    int bit(int n) const { return (word[n / 32] >> (n % 32)) & 1; }
};

static void print_refused(int n, const capability_words& potential, const capability_words& added,
                          const capability_words& possessed) {
    printf("%30.30s: potential %d added %d got %d\n", capability_names[n], potential.bit(n), added.bit(n),
           possessed.bit(n));
}

[[noreturn]] static void refuse(const capability_words& potential, const jvmtiCapabilities* features,
                                const char* caller) {
    if (strcmp(caller, "JVM_OnLoad") == 0)
        agent_fatal("Run with\n\t%s\ninstead of\n\t%s\n", "-agentlib:<libname>[=<option>[,...]]",
                    "-Xrun<libname>[:<option>[,...]]");
    jvmtiCapabilities now;
    memset((void*)&now, 0, sizeof now);
    jvmti->GetCapabilities(&now);
    const capability_words added(*features);
    const capability_words possessed(now);
    print_refused(MONITOR_EVENTS, potential, added, possessed);
    for (int n = 0; n < CAPABILITIES_1_0; n++) print_refused(n, potential, added, possessed);
    agent_abort();
}

static void tell_that_light() {
    printf("__QUOR_LIGHT on: no exception, frame pop and method exit events\n");
    fflush(stdout);
}

jint enable_jvmticapabilities(jvmtiCapabilities* features, const char* caller) {
    if (strcmp(caller, "JVM_OnLoad") != 0) {
        jvmtiPhase phase = (jvmtiPhase)0;
        jvmti->GetPhase(&phase);
        if (phase != JVMTI_PHASE_ONLOAD)
            agent_fatal("enable_jvmticapabilities() from %s: expected phase 1, got %d\n", caller, (int)phase);
    }
    const capability_words potential(*features);
    capability_words wanted = potential;
    const bool light = getenv("__QUOR_LIGHT") != NULL;
    wanted.word[0] = light ? REQUESTED_WORD_0 & ~(uint32_t)SLOWS_THROWS : REQUESTED_WORD_0;
    wanted.word[1] &= ~(uint32_t)OBJECT_FREE_EVENTS;
    wanted.copy_to(features);
    const jint err = jvmti->AddCapabilities(features);
    if (!err && light) tell_that_light();
    if (!err) return 0;
    printf("enable_jvmticapabilities() from %s failed -- %s\n", caller, err_str(err));
    refuse(potential, features, caller);
}

/* One line of a report; false when the category was switched off meanwhile, which ends the report. */
static bool report_line(const char* name) {
    if (!log_is_on(LogJVMDI)) return false;
    AGENT_LOG(LogJVMDI, "%s", name);
    return true;
}

void check_features(JVMDI_capabilities capabilities) {
    /* in this order and these spellings, which the log's readers know */
    const struct {
        bool set;
        const char* name;
    } lines[] = {
        {capabilities.can_watch_field_modification != 0, "can_watch_field_modifications"},
        {capabilities.can_watch_field_access != 0, "can_watch_field_access"},
        {capabilities.can_get_synthetic_attribute != 0, "can_get_synthetic_attribute"},
        {capabilities.can_get_bytecodes != 0, "can_get_bytecodes"},
        {capabilities.can_get_owned_monitor_info != 0, "can_get_owned_monitor_info"},
        {capabilities.can_get_current_contended_monitor != 0, "can_get_current_contended_monitor"},
        {capabilities.can_get_monitor_info != 0, "can_get_monitor_info"},
    };
    if (!jvmdi || !report_line("This VM supports the following features:")) return;
    for (const auto& line : lines)
        if (line.set && !report_line(line.name)) return;
}

void check_jvmtifeatures(jvmtiCapabilities capabilities) {
    const capability_words words(capabilities);
    if (!jvmti || !report_line("This VM supports the following features:")) return;
    for (int n = 0; n < CAPABILITIES_1_0; n++)
        if (words.bit(n) && !report_line(capability_names[n])) return;
}
