#include "registry/agent_records.h"

/* Debuggers without type information read these records by offset, so that a layout must not move in either width: a change
 * of a line here is a change of the interface, and of docs/records.md. */
#define IN_BOTH_WIDTHS(what, i386, x86_64)                                                    \
    static_assert(sizeof(void*) != 4 || (what) == i386, #what " is not what debuggers know"); \
    static_assert(sizeof(void*) != 8 || (what) == x86_64, #what " is not what debuggers know")
#define AT(record, field, i386, x86_64) IN_BOTH_WIDTHS(offsetof(record, field), i386, x86_64)
#define SIZE(record, i386, x86_64) IN_BOTH_WIDTHS(sizeof(record), i386, x86_64)

AT(JVMDI_Event, kind, 0, 0);
AT(JVMDI_Event, u.single_step.thread, 4, 8);
AT(JVMDI_Event, u.single_step.clazz, 8, 16);
AT(JVMDI_Event, u.single_step.method, 12, 24);
AT(JVMDI_Event, u.single_step.location, 16, 32);
AT(JVMDI_Event, u.breakpoint.thread, 4, 8);
AT(JVMDI_Event, u.breakpoint.clazz, 8, 16);
AT(JVMDI_Event, u.breakpoint.method, 12, 24);
AT(JVMDI_Event, u.breakpoint.location, 16, 32);
AT(JVMDI_Event, u.frame.thread, 4, 8);
AT(JVMDI_Event, u.frame.clazz, 8, 16);
AT(JVMDI_Event, u.frame.method, 12, 24);
AT(JVMDI_Event, u.frame.frame, 16, 32);
AT(JVMDI_Event, u.exception.thread, 4, 8);
AT(JVMDI_Event, u.exception.clazz, 8, 16);
AT(JVMDI_Event, u.exception.method, 12, 24);
AT(JVMDI_Event, u.exception.location, 16, 32);
AT(JVMDI_Event, u.exception.exception, 24, 40);
AT(JVMDI_Event, u.exception.catch_clazz, 28, 48);
AT(JVMDI_Event, u.exception.catch_method, 32, 56);
AT(JVMDI_Event, u.exception.catch_location, 36, 64);
AT(JVMDI_Event, u.exception_catch.thread, 4, 8);
AT(JVMDI_Event, u.exception_catch.clazz, 8, 16);
AT(JVMDI_Event, u.exception_catch.method, 12, 24);
AT(JVMDI_Event, u.exception_catch.location, 16, 32);
AT(JVMDI_Event, u.exception_catch.exception, 24, 40);
AT(JVMDI_Event, u.field_access.thread, 4, 8);
AT(JVMDI_Event, u.field_access.clazz, 8, 16);
AT(JVMDI_Event, u.field_access.method, 12, 24);
AT(JVMDI_Event, u.field_access.location, 16, 32);
AT(JVMDI_Event, u.field_access.field_clazz, 24, 40);
AT(JVMDI_Event, u.field_access.object, 28, 48);
AT(JVMDI_Event, u.field_access.field, 32, 56);
AT(JVMDI_Event, u.field_modification.thread, 4, 8);
AT(JVMDI_Event, u.field_modification.clazz, 8, 16);
AT(JVMDI_Event, u.field_modification.method, 12, 24);
AT(JVMDI_Event, u.field_modification.location, 16, 32);
AT(JVMDI_Event, u.field_modification.field_clazz, 24, 40);
AT(JVMDI_Event, u.field_modification.object, 28, 48);
AT(JVMDI_Event, u.field_modification.field, 32, 56);
AT(JVMDI_Event, u.field_modification.signature_type, 36, 64);
AT(JVMDI_Event, u.field_modification.new_value, 40, 72);
AT(JVMDI_Event, u.user.object, 4, 8);
AT(JVMDI_Event, u.user.key, 8, 16);
AT(JVMDI_Event, u.thread_change.thread, 4, 8);
AT(JVMDI_Event, u.class_event.thread, 4, 8);
AT(JVMDI_Event, u.class_event.clazz, 8, 16);
SIZE(JVMDI_Event, 48, 80);

AT(AgentInvokRet, exception, 0, 0);
AT(AgentInvokRet, status, 4, 8);
AT(AgentInvokRet, value, 8, 16);
AT(AgentInvokRet, thread, 16, 24);
AT(AgentInvokRet, value_class, 20, 32);
AT(AgentInvokRet, return_type, 24, 40);
SIZE(AgentInvokRet, 28, 48);

AT(class_info, clazz, 0, 0);
AT(class_info, signature, 4, 8);
AT(class_info, source_file, 1028, 1032);
AT(class_info, has_source, 2052, 2056);
AT(class_info, is_interface, 2056, 2060);
SIZE(class_info, 2060, 2064);

AT(method_entry, method, 0, 0);
AT(method_entry, modifiers, 4, 8);
AT(method_entry, name, 8, 12);
AT(method_entry, signature, 1032, 1036);
SIZE(method_entry, 2056, 2064);

AT(monitor_entry, monitor, 0, 0);
AT(monitor_entry, owner, 4, 8);
AT(monitor_entry, waiter_count, 8, 16);
AT(monitor_entry, waiters, 12, 24);
SIZE(monitor_entry, 16, 32);

AT(JVMDI_thread_info, name, 0, 0);
AT(JVMDI_thread_info, priority, 4, 8);
AT(JVMDI_thread_info, is_daemon, 8, 12);
AT(JVMDI_thread_info, thread_group, 12, 16);
AT(JVMDI_thread_info, context_class_loader, 16, 24);
SIZE(JVMDI_thread_info, 20, 32);

AT(JVMDI_thread_group_info, parent, 0, 0);
AT(JVMDI_thread_group_info, name, 4, 8);
AT(JVMDI_thread_group_info, max_priority, 8, 16);
AT(JVMDI_thread_group_info, is_daemon, 12, 20);
SIZE(JVMDI_thread_group_info, 16, 24);

AT(JVMDI_owned_monitor_info, owned_monitor_count, 0, 0);
AT(JVMDI_owned_monitor_info, owned_monitors, 4, 8);
SIZE(JVMDI_owned_monitor_info, 8, 16);

AT(JVMDI_monitor_info, owner, 0, 0);
AT(JVMDI_monitor_info, entry_count, 4, 8);
AT(JVMDI_monitor_info, waiter_count, 8, 12);
AT(JVMDI_monitor_info, waiters, 12, 16);
SIZE(JVMDI_monitor_info, 16, 24);

AT(JVMDI_line_number_entry, start_location, 0, 0);
AT(JVMDI_line_number_entry, line_number, 8, 8);
SIZE(JVMDI_line_number_entry, 12, 16);

AT(JVMDI_local_variable_entry, start_location, 0, 0);
AT(JVMDI_local_variable_entry, length, 8, 8);
AT(JVMDI_local_variable_entry, name, 12, 16);
AT(JVMDI_local_variable_entry, signature, 16, 24);
AT(JVMDI_local_variable_entry, slot, 20, 32);
SIZE(JVMDI_local_variable_entry, 24, 40);

AT(JVMDI_exception_handler_entry, start_location, 0, 0);
AT(JVMDI_exception_handler_entry, end_location, 8, 8);
AT(JVMDI_exception_handler_entry, handler_location, 16, 16);
AT(JVMDI_exception_handler_entry, exception, 24, 24);
SIZE(JVMDI_exception_handler_entry, 28, 32);

SIZE(JVMDI_capabilities, 4, 4);

AT(tmap_record, thread_name, 0, 0);
AT(tmap_record, methods, 4, 8);
AT(tmap_record, method_count, 8, 16);
AT(tmap_record, line_number_table, 12, 24);
AT(tmap_record, local_variable_count, 16, 32);
AT(tmap_record, local_variable_table, 20, 40);
AT(tmap_record, bytecodes, 24, 48);
AT(tmap_record, classes, 28, 56);
AT(tmap_record, owned_monitor_count, 32, 64);
AT(tmap_record, owned_monitors, 36, 72);
AT(tmap_record, monitor_list, 40, 80);
AT(tmap_record, monitor_count, 44, 88);
AT(tmap_record, invocation_state, 48, 92);
AT(tmap_record, locals_count, 52, 96);
AT(tmap_record, locals, 56, 104);
AT(tmap_record, handle, 60, 112);
AT(tmap_record, tid, 64, 120);
AT(tmap_record, next, 68, 128);
SIZE(tmap_record, 72, 136);

AT(uref_record, ref, 0, 0);
AT(uref_record, next, 4, 8);
AT(uref_record, owned, 8, 16);
SIZE(uref_record, 12, 24);

AT(prepared_classes, array, 0, 0);
AT(prepared_classes, monitor, 4, 8);
AT(prepared_classes, capacity, 76, 96);
AT(prepared_classes, count, 80, 100);
SIZE(prepared_classes, 84, 104);

#undef AT
#undef SIZE
#undef IN_BOTH_WIDTHS
