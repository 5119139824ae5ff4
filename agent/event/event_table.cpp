#include "event/event_table.h"

#include "event/dump.h"
#include "event/hook_points.h"

static constexpr unsigned LOCATED = FIND_THREAD | DECLARING_CLASS | OWN_CLASS;

static constexpr jvmtiEvent NO_JVMTI_EVENT = (jvmtiEvent)0;

static const event_row rows[] = {
    {JVMDI_EVENT_SINGLE_STEP, "SINGLE_STEP", JVMTI_EVENT_SINGLE_STEP, PASS_DUMPED, LOCATED, SHARE_THREAD,
     "Single step on dead thread:ignored\n", dump_located_event, hook_step},
    {JVMDI_EVENT_BREAKPOINT, "BREAKPOINT", JVMTI_EVENT_BREAKPOINT, PASS_DUMPED, LOCATED, SHARE_THREAD,
     "Breakpoint on dead thread:ignored\n", dump_located_event, hook_bpt},
    {JVMDI_EVENT_FRAME_POP, "FRAME_POP", JVMTI_EVENT_FRAME_POP, PASS, FIND_THREAD, SHARE_THREAD,
     "Frame pop on dead thread:ignored\n", dump_frame_event, hook_frame_pop},
    {JVMDI_EVENT_EXCEPTION, "EXCEPTION", JVMTI_EVENT_EXCEPTION, ASK_THROW_FILTER, LOCATED | OWN_EXCEPTION,
     SHARE_THREAD | SHARE_EXCEPTION, "Exception on dead thread:ignored\n", dump_exception_event, hook_exception_thrown},
    {JVMDI_EVENT_USER_DEFINED, "USER_DEFINED", NO_JVMTI_EVENT, PASS_DUMPED, 0, 0, NULL, dump_no_details,
     hook_invoke_method},
    {JVMDI_EVENT_THREAD_START, "THREAD_START", JVMTI_EVENT_THREAD_START, PASS_DUMPED, OWN_THREAD, SHARE_THREAD, NULL,
     dump_thread_start_event, hook_thread_start},
    {JVMDI_EVENT_THREAD_END, "THREAD_END", JVMTI_EVENT_THREAD_END, PASS_DUMPED, FIND_THREAD, SHARE_THREAD,
     "Thread end on dead thread:ignored\n", dump_thread_end_event, hook_thread_stop},
    {JVMDI_EVENT_CLASS_PREPARE, "CLASS_PREPARE", JVMTI_EVENT_CLASS_PREPARE, PASS, FIND_THREAD | OWN_CLASS,
     SHARE_THREAD | SHARE_CLASS, "Class Prepare on dead thread:ignored\n", dump_class_event, hook_class_prepare},
    {JVMDI_EVENT_CLASS_UNLOAD, "CLASS_UNLOAD", NO_JVMTI_EVENT, PASS_DUMPED, FIND_THREAD | OWN_CLASS, SHARE_THREAD,
     "Class unload on dead thread:ignored\n", dump_class_event, hook_class_unload},
    {JVMDI_EVENT_CLASS_LOAD, "CLASS_LOAD", JVMTI_EVENT_CLASS_LOAD, DROP, 0, 0,
     "preprocess_jvmdi_references: got JVMDI_EVENT_CLASS_LOAD", dump_class_event, NULL},
    /* field events print the breakpoint's text, which the debugger's users know */
    {JVMDI_EVENT_FIELD_ACCESS, "FIELD_ACCESS", JVMTI_EVENT_FIELD_ACCESS, PASS_DUMPED, LOCATED | OWN_FIELD_CLASS,
     SHARE_THREAD | SHARE_FIELD, "Breakpoint on dead thread:ignored\n", dump_no_details, hook_access},
    {JVMDI_EVENT_FIELD_MODIFICATION, "FIELD_MODIFICATION", JVMTI_EVENT_FIELD_MODIFICATION, PASS_DUMPED,
     LOCATED | OWN_FIELD_CLASS, SHARE_THREAD | SHARE_FIELD | SHARE_VALUE, "Breakpoint on dead thread:ignored\n",
     dump_no_details, hook_access_write},
    {JVMDI_EVENT_EXCEPTION_CATCH, "EXCEPTION_CATCH", JVMTI_EVENT_EXCEPTION_CATCH, ASK_CATCH_FILTER,
     LOCATED | OWN_EXCEPTION, SHARE_THREAD | SHARE_EXCEPTION, "Exception caught on dead thread:ignored\n",
     dump_exception_catch_event, hook_exception_caught},
    {JVMDI_EVENT_METHOD_ENTRY, "METHOD_ENTRY", JVMTI_EVENT_METHOD_ENTRY, PASS_DUMPED, LOCATED, SHARE_THREAD,
     "Method Entry on dead thread:ignored\n", dump_frame_event, hook_method_entry},
    {JVMDI_EVENT_METHOD_EXIT, "METHOD_EXIT", JVMTI_EVENT_METHOD_EXIT, DROP, 0, 0,
     "preprocess_jvmdi_references: got JVMDI_EVENT_METHOD_EXIT", dump_frame_event, NULL},
    {JVMDI_EVENT_VM_INIT, "VM_INIT", JVMTI_EVENT_VM_INIT, DROP_DUMPED, 0, 0,
     "preprocess_jvmdi_references: got unknown event", dump_unknown_event, NULL},
    {JVMDI_EVENT_VM_DEATH, "VM_DEATH", JVMTI_EVENT_VM_DEATH, PASS, 0, 0, NULL, dump_unknown_event, NULL},
};

const event_row* event_row_of(jint kind) {
    for (const event_row& row : rows)
        if (row.kind == kind) return &row;
    return NULL;
}

const event_row* event_row_of_jvmti(jint event) {
    for (const event_row& row : rows)
        if (row.event && row.event == event) return &row;
    return NULL;
}
