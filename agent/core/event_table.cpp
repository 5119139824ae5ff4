#include "core/event_table.h"

#include "core/agent_main.h"

static constexpr unsigned LOCATED = FIND_THREAD | DECLARING_CLASS | OWN_CLASS;

static const event_row rows[] = {
    {JVMDI_EVENT_SINGLE_STEP, PASS_DUMPED, LOCATED, "Single step on dead thread:ignored\n", hook_step},
    {JVMDI_EVENT_BREAKPOINT, PASS_DUMPED, LOCATED, "Breakpoint on dead thread:ignored\n", hook_bpt},
    {JVMDI_EVENT_FRAME_POP, PASS, FIND_THREAD, "Frame pop on dead thread:ignored\n", hook_frame_pop},
    {JVMDI_EVENT_EXCEPTION, ASK_THROW_FILTER, LOCATED | OWN_EXCEPTION, "Exception on dead thread:ignored\n",
     hook_exception_thrown},
    {JVMDI_EVENT_USER_DEFINED, PASS_DUMPED, 0, NULL, hook_invoke_method},
    {JVMDI_EVENT_THREAD_START, PASS_DUMPED, OWN_THREAD, NULL, hook_thread_start},
    {JVMDI_EVENT_THREAD_END, PASS_DUMPED, FIND_THREAD, "Thread end on dead thread:ignored\n", hook_thread_stop},
    {JVMDI_EVENT_CLASS_PREPARE, PASS, FIND_THREAD | OWN_CLASS, "Class Prepare on dead thread:ignored\n",
     hook_class_prepare},
    {JVMDI_EVENT_CLASS_UNLOAD, PASS_DUMPED, FIND_THREAD | OWN_CLASS, "Class unload on dead thread:ignored\n",
     hook_class_unload},
    {JVMDI_EVENT_CLASS_LOAD, DROP, 0, "preprocess_jvmdi_references: got JVMDI_EVENT_CLASS_LOAD", NULL},
    /* field events print the breakpoint's text, which the debugger's users know */
    {JVMDI_EVENT_FIELD_ACCESS, PASS_DUMPED, LOCATED | OWN_FIELD_CLASS, "Breakpoint on dead thread:ignored\n",
     hook_access},
    {JVMDI_EVENT_FIELD_MODIFICATION, PASS_DUMPED, LOCATED | OWN_FIELD_CLASS, "Breakpoint on dead thread:ignored\n",
     hook_access_write},
    {JVMDI_EVENT_EXCEPTION_CATCH, ASK_CATCH_FILTER, LOCATED | OWN_EXCEPTION,
     "Exception caught on dead thread:ignored\n", hook_exception_caught},
    {JVMDI_EVENT_METHOD_ENTRY, PASS_DUMPED, LOCATED, "Method Entry on dead thread:ignored\n", hook_method_entry},
    {JVMDI_EVENT_METHOD_EXIT, DROP, 0, "preprocess_jvmdi_references: got JVMDI_EVENT_METHOD_EXIT", NULL},
    {JVMDI_EVENT_VM_INIT, DROP_DUMPED, 0, "preprocess_jvmdi_references: got unknown event", NULL},
    {JVMDI_EVENT_VM_DEATH, PASS, 0, NULL, NULL},
};

const event_row* event_row_of(jint kind) {
    for (const event_row& row : rows)
        if (row.kind == kind) return &row;
    return NULL;
}
