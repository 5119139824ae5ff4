#include "event/event_log.h"

#include "event/dump.h"
#include "event/event_table.h"
#include "support/log_agent.h"
#include "support/names.h"
#include "vm/vm_interface.h"

static const char LOG_SOURCE[] = "agent_trace.c";

/* The events of JVMTI that the agent has no kind for; the others have theirs in the event table. */
static const number_name jvmti_only_names[] = {
    {JVMTI_EVENT_CLASS_FILE_LOAD_HOOK, "CLASS_FILE_LOAD_HOOK"},
    {JVMTI_EVENT_VM_START, "VM_START"},
    {JVMTI_EVENT_NATIVE_METHOD_BIND, "NATIVE_METHOD_BIND"},
    {JVMTI_EVENT_COMPILED_METHOD_LOAD, "COMPILED_METHOD_LOAD"},
    {JVMTI_EVENT_COMPILED_METHOD_UNLOAD, "COMPILED_METHOD_UNLOAD"},
    {JVMTI_EVENT_DYNAMIC_CODE_GENERATED, "DYNAMIC_CODE_GENERATED"},
    {JVMTI_EVENT_DATA_DUMP_REQUEST, "DATA_DUMP_REQUEST"},
    {JVMTI_EVENT_MONITOR_WAIT, "MONITOR_WAIT"},
    {JVMTI_EVENT_MONITOR_WAITED, "MONITOR_WAITED"},
    {JVMTI_EVENT_MONITOR_CONTENDED_ENTER, "MONITOR_CONTENDED_ENTER"},
    {JVMTI_EVENT_MONITOR_CONTENDED_ENTERED, "MONITOR_CONTENDED_ENTERED"},
    {JVMTI_EVENT_GARBAGE_COLLECTION_START, "GARBAGE_COLLECTION_START"},
    {JVMTI_EVENT_GARBAGE_COLLECTION_FINISH, "GARBAGE_COLLECTION_FINISH"},
    {JVMTI_EVENT_OBJECT_FREE, "OBJECT_FREE"},
    {JVMTI_EVENT_VM_OBJECT_ALLOC, "VM_OBJECT_ALLOC"},
};

/* "CONTENTED" is the spelling that log readers match. */
static const number_name jvmpi_event_names[] = {
    {37, "HEAP_DUMP"},
    {50, "OBJECT_DUMP"},
    {54, "MONITOR_CONTENTED_ENTER"},
    {55, "MONITOR_CONTENTED_ENTERED"},
    {56, "MONITOR_CONTENTED_EXIT"},
    {57, "MONITOR_WAIT"},
    {58, "MONITOR_WAITED"},
    {59, "MONITOR_DUMP"},
    {60, "GC_START"},
    {61, "GC_FINISH"},
};

const char* jvmdi_event_str(jint kind) {
    static unknown_name unknown;
    const event_row* row = event_row_of(kind);
    return row ? row->name : unknown_text(kind, unknown);
}

const char* jvmti_event_str(jint kind) {
    static unknown_name unknown;
    if (jvmdi) return jvmdi_event_str(kind);
    const event_row* row = event_row_of_jvmti(kind);
    return row ? row->name : name_or_unknown(jvmti_only_names, kind, unknown);
}

const char* jvmpi_event_str(jint kind) {
    static unknown_name unknown;
    return name_or_unknown(jvmpi_event_names, kind, unknown);
}

void dump_jvmdi_event(JNIEnv* env, JVMDI_Event* event) {
    AGENT_LOG(LogJVMDI, "Event = %s", jvmdi_event_str(event->kind));
    const event_row* row = event_row_of(event->kind);
    (row ? row->dump : dump_unknown_event)(env, event);
}

void dump_jvmpi_event(JNIEnv*, JVMPI_Event* event) {
    AGENT_LOG(LogJVMDI, "Event = %s", jvmpi_event_str(event->event_type));
}
