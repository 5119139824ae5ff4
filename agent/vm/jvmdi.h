/*
 * jvmdi.h: the Java Virtual Machine Debug Interface, which a current JDK no longer ships.
 *
 * JVMDI is a table of function pointers in C style: the functions take no interface argument. JavaVM::GetEnv for
 * JVMDI_VERSION_1 yields a pointer to the table. Function number n stands at slot n - 1, which is also where JVMTI
 * has its function number n. Results are error codes (JVMDI_ERROR_NONE is success). References that a function
 * returns are JNI global references.
 *
 * jthread, jthreadGroup and jlocation are those of jvmti.h.
 */
#ifndef VM_JVMDI_H
#define VM_JVMDI_H

#include <jvmti.h>

#include <cstddef>

/* The interface version to ask JavaVM::GetEnv for; GetVersionNumber may report a later one. */
constexpr jint JVMDI_VERSION_1 = 0x20010000;

/* ---- Event kinds -------------------------------------------------------------------------------------------- */

constexpr jint JVMDI_EVENT_SINGLE_STEP = 1;
constexpr jint JVMDI_EVENT_BREAKPOINT = 2;
constexpr jint JVMDI_EVENT_FRAME_POP = 3;
constexpr jint JVMDI_EVENT_EXCEPTION = 4;
constexpr jint JVMDI_EVENT_USER_DEFINED = 5;
constexpr jint JVMDI_EVENT_THREAD_START = 6;
constexpr jint JVMDI_EVENT_THREAD_END = 7;
constexpr jint JVMDI_EVENT_CLASS_PREPARE = 8;
constexpr jint JVMDI_EVENT_CLASS_UNLOAD = 9;
constexpr jint JVMDI_EVENT_CLASS_LOAD = 10;
constexpr jint JVMDI_EVENT_FIELD_ACCESS = 20;
constexpr jint JVMDI_EVENT_FIELD_MODIFICATION = 21;
constexpr jint JVMDI_EVENT_EXCEPTION_CATCH = 30;
constexpr jint JVMDI_EVENT_METHOD_ENTRY = 40;
constexpr jint JVMDI_EVENT_METHOD_EXIT = 41;
constexpr jint JVMDI_EVENT_VM_INIT = 90;
constexpr jint JVMDI_EVENT_VM_DEATH = 99;

/* Modes of SetEventNotificationMode. */
constexpr jint JVMDI_DISABLE = 0;
constexpr jint JVMDI_ENABLE = 1;

/* ---- Error codes -------------------------------------------------------------------------------------------- */

constexpr jint JVMDI_ERROR_NONE = 0;
constexpr jint JVMDI_ERROR_INVALID_THREAD = 10;
constexpr jint JVMDI_ERROR_INVALID_THREAD_GROUP = 11;
constexpr jint JVMDI_ERROR_INVALID_PRIORITY = 12;
constexpr jint JVMDI_ERROR_THREAD_NOT_SUSPENDED = 13;
constexpr jint JVMDI_ERROR_THREAD_SUSPENDED = 14;
constexpr jint JVMDI_ERROR_THREAD_NOT_ALIVE = 15;
constexpr jint JVMDI_ERROR_INVALID_OBJECT = 20;
constexpr jint JVMDI_ERROR_INVALID_CLASS = 21;
constexpr jint JVMDI_ERROR_CLASS_NOT_PREPARED = 22;
constexpr jint JVMDI_ERROR_INVALID_METHODID = 23;
constexpr jint JVMDI_ERROR_INVALID_LOCATION = 24;
constexpr jint JVMDI_ERROR_INVALID_FIELDID = 25;
constexpr jint JVMDI_ERROR_INVALID_FRAMEID = 30;
constexpr jint JVMDI_ERROR_NO_MORE_FRAMES = 31;
constexpr jint JVMDI_ERROR_OPAQUE_FRAME = 32;
constexpr jint JVMDI_ERROR_NOT_CURRENT_FRAME = 33;
constexpr jint JVMDI_ERROR_TYPE_MISMATCH = 34;
constexpr jint JVMDI_ERROR_INVALID_SLOT = 35;
constexpr jint JVMDI_ERROR_DUPLICATE = 40;
constexpr jint JVMDI_ERROR_NOT_FOUND = 41;
constexpr jint JVMDI_ERROR_INVALID_MONITOR = 50;
constexpr jint JVMDI_ERROR_NOT_MONITOR_OWNER = 51;
constexpr jint JVMDI_ERROR_INTERRUPT = 52;
constexpr jint JVMDI_ERROR_INVALID_CLASS_FORMAT = 60;
constexpr jint JVMDI_ERROR_CIRCULAR_CLASS_DEFINITION = 61;
constexpr jint JVMDI_ERROR_FAILS_VERIFICATION = 62;
constexpr jint JVMDI_ERROR_INVALID_TYPESTATE = 65;
constexpr jint JVMDI_ERROR_NOT_IMPLEMENTED = 99;
constexpr jint JVMDI_ERROR_NULL_POINTER = 100;
constexpr jint JVMDI_ERROR_ABSENT_INFORMATION = 101;
constexpr jint JVMDI_ERROR_INVALID_EVENT_TYPE = 102;
constexpr jint JVMDI_ERROR_ILLEGAL_ARGUMENT = 103;
constexpr jint JVMDI_ERROR_OUT_OF_MEMORY = 110;
constexpr jint JVMDI_ERROR_ACCESS_DENIED = 111;
constexpr jint JVMDI_ERROR_VM_DEAD = 112; /* the number that JVMTI calls WRONG_PHASE */
constexpr jint JVMDI_ERROR_INTERNAL = 113;
constexpr jint JVMDI_ERROR_UNATTACHED_THREAD = 115;

/* ---- Status words ------------------------------------------------------------------------------------------- */

/* Thread status, first result of GetThreadStatus: one of these. */
constexpr jint JVMDI_THREAD_STATUS_UNKNOWN = -1;
constexpr jint JVMDI_THREAD_STATUS_ZOMBIE = 0;
constexpr jint JVMDI_THREAD_STATUS_RUNNING = 1;
constexpr jint JVMDI_THREAD_STATUS_SLEEPING = 2;
constexpr jint JVMDI_THREAD_STATUS_MONITOR = 3;
constexpr jint JVMDI_THREAD_STATUS_WAIT = 4;

/* Suspend status, second result of GetThreadStatus: a set of these bits. */
constexpr jint JVMDI_SUSPEND_STATUS_SUSPENDED = 1;
constexpr jint JVMDI_SUSPEND_STATUS_BREAK = 2;

/* Class status, result of GetClassStatus: a set of these bits. */
constexpr jint JVMDI_CLASS_STATUS_VERIFIED = 1;
constexpr jint JVMDI_CLASS_STATUS_PREPARED = 2;
constexpr jint JVMDI_CLASS_STATUS_INITIALIZED = 4;
constexpr jint JVMDI_CLASS_STATUS_ERROR = 8;

constexpr jint JVMDI_THREAD_MIN_PRIORITY = 1;
constexpr jint JVMDI_THREAD_NORM_PRIORITY = 5;
constexpr jint JVMDI_THREAD_MAX_PRIORITY = 10;

/* ---- Records ------------------------------------------------------------------------------------------------ */

typedef struct JVMDI_frame* jframeID; /* opaque; valid while the frame's thread stays suspended */

struct JVMDI_thread_info { /* the same layout as jvmtiThreadInfo */
    char* name;
    jint priority;
    jboolean is_daemon;
    jthreadGroup thread_group;
    jobject context_class_loader;
};

struct JVMDI_thread_group_info {
    jthreadGroup parent;
    char* name;
    jint max_priority;
    jboolean is_daemon;
};

struct JVMDI_monitor_info {
    jthread owner;
    jint entry_count;
    jint waiter_count;
    jthread* waiters;
};

struct JVMDI_owned_monitor_info {
    jint owned_monitor_count;
    jobject* owned_monitors;
};

struct JVMDI_line_number_entry {
    jlocation start_location;
    jint line_number;
};

struct JVMDI_local_variable_entry {
    jlocation start_location;
    jint length;
    char* name;
    char* signature;
    jint slot;
};

struct JVMDI_exception_handler_entry {
    jlocation start_location;
    jlocation end_location;
    jlocation handler_location;
    jclass exception; /* null: catches everything */
};

struct JVMDI_class_definition {
    jclass clazz;
    jint class_byte_count;
    jbyte* class_bytes;
};

struct JVMDI_capabilities { /* one 32-bit word, from bit 0 */
    unsigned int can_watch_field_modification : 1;
    unsigned int can_watch_field_access : 1;
    unsigned int can_get_bytecodes : 1;
    unsigned int can_get_synthetic_attribute : 1;
    unsigned int can_get_owned_monitor_info : 1;
    unsigned int can_get_current_contended_monitor : 1;
    unsigned int can_get_monitor_info : 1;
    unsigned int can_get_heap_info : 1;
    unsigned int can_get_operand_stack : 1;
    unsigned int can_set_operand_stack : 1;
    unsigned int can_pop_frame : 1;
    unsigned int can_get_class_definition : 1;
    unsigned int can_redefine_classes : 1;
    unsigned int can_add_method : 1;
    unsigned int can_unrestrictedly_redefine_classes : 1;
    unsigned int can_suspend_resume_thread_lists : 1;
    unsigned int reserved : 16;
};

/* Opaque here: the operand stack and heap functions stand in the table only to keep the slots of the others. */
struct JVMDI_operand_stack_element;
struct JVMDI_object_reference_info;

/* ---- Event record ------------------------------------------------------------------------------------------- */

struct JVMDI_Event { /* which member of u holds is told by kind; VM_INIT and VM_DEATH have none */
    jint kind;
    union {
        struct {
            jthread thread;
            jclass clazz;
            jmethodID method;
            jlocation location;
        } single_step, breakpoint;
        struct { /* frame pop, method entry, method exit */
            jthread thread;
            jclass clazz;
            jmethodID method;
            jframeID frame;
        } frame;
        struct {
            jthread thread;
            jclass clazz;
            jmethodID method;
            jlocation location;
            jobject exception;
            jclass catch_clazz;
            jmethodID catch_method;
            jlocation catch_location;
        } exception;
        struct {
            jthread thread;
            jclass clazz;
            jmethodID method;
            jlocation location;
            jobject exception;
        } exception_catch;
        struct {
            jthread thread;
            jclass clazz;
            jmethodID method;
            jlocation location;
            jclass field_clazz;
            jobject object;
            jfieldID field;
        } field_access;
        struct {
            jthread thread;
            jclass clazz;
            jmethodID method;
            jlocation location;
            jclass field_clazz;
            jobject object;
            jfieldID field;
            char signature_type;
            jvalue new_value;
        } field_modification;
        struct {
            jobject object;
            jint key;
        } user;
        struct { /* thread start, thread end */
            jthread thread;
        } thread_change;
        struct { /* class load, prepare, unload */
            jthread thread;
            jclass clazz;
        } class_event;
    } u;
};

/* ---- Function types ----------------------------------------------------------------------------------------- */

typedef void(JNICALL* JVMDI_EventHook)(JNIEnv* env, JVMDI_Event* event);
typedef void(JNICALL* JVMDI_StartFunction)(void* arg);
typedef jint(JNICALL* JVMDI_AllocHook)(jlong size, jbyte** memory);
typedef jint(JNICALL* JVMDI_DeallocHook)(jbyte* memory);

/* ---- The function table ------------------------------------------------------------------------------------- */

struct JVMDI_Interface_1 {
    /* 1-2: events; the variadic tail of SetEventNotificationMode is unused */
    jint(JNICALL* SetEventHook)(JVMDI_EventHook hook);
    jint(JNICALL* SetEventNotificationMode)(jint mode, jint event_kind, jthread thread, ...);
    /* 3-12: threads */
    jint(JNICALL* GetThreadStatus)(jthread thread, jint* thread_status, jint* suspend_status);
    jint(JNICALL* GetAllThreads)(jint* count, jthread** threads);
    jint(JNICALL* SuspendThread)(jthread thread);
    jint(JNICALL* ResumeThread)(jthread thread);
    jint(JNICALL* StopThread)(jthread thread, jobject exception);
    jint(JNICALL* InterruptThread)(jthread thread);
    jint(JNICALL* GetThreadInfo)(jthread thread, JVMDI_thread_info* info);
    jint(JNICALL* GetOwnedMonitorInfo)(jthread thread, JVMDI_owned_monitor_info* info);
    jint(JNICALL* GetCurrentContendedMonitor)(jthread thread, jobject* monitor);
    jint(JNICALL* RunDebugThread)(jthread thread, JVMDI_StartFunction body, void* arg, int priority);
    /* 13-15: thread groups */
    jint(JNICALL* GetTopThreadGroups)(jint* count, jthreadGroup** groups);
    jint(JNICALL* GetThreadGroupInfo)(jthreadGroup group, JVMDI_thread_group_info* info);
    jint(JNICALL* GetThreadGroupChildren)(jthreadGroup group, jint* thread_count, jthread** threads, jint* group_count,
                                          jthreadGroup** groups);
    /* 16-20: frames */
    jint(JNICALL* GetFrameCount)(jthread thread, jint* count);
    jint(JNICALL* GetCurrentFrame)(jthread thread, jframeID* frame);
    jint(JNICALL* GetCallerFrame)(jframeID called, jframeID* caller);
    jint(JNICALL* GetFrameLocation)(jframeID frame, jclass* clazz, jmethodID* method, jlocation* location);
    jint(JNICALL* NotifyFramePop)(jframeID frame);
    /* 21-30: local variables */
    jint(JNICALL* GetLocalObject)(jframeID frame, jint slot, jobject* value);
    jint(JNICALL* GetLocalInt)(jframeID frame, jint slot, jint* value);
    jint(JNICALL* GetLocalLong)(jframeID frame, jint slot, jlong* value);
    jint(JNICALL* GetLocalFloat)(jframeID frame, jint slot, jfloat* value);
    jint(JNICALL* GetLocalDouble)(jframeID frame, jint slot, jdouble* value);
    jint(JNICALL* SetLocalObject)(jframeID frame, jint slot, jobject value);
    jint(JNICALL* SetLocalInt)(jframeID frame, jint slot, jint value);
    jint(JNICALL* SetLocalLong)(jframeID frame, jint slot, jlong value);
    jint(JNICALL* SetLocalFloat)(jframeID frame, jint slot, jfloat value);
    jint(JNICALL* SetLocalDouble)(jframeID frame, jint slot, jdouble value);
    /* 31-37: raw monitors */
    jint(JNICALL* CreateRawMonitor)(char* name, void** monitor);
    jint(JNICALL* DestroyRawMonitor)(void* monitor);
    jint(JNICALL* RawMonitorEnter)(void* monitor);
    jint(JNICALL* RawMonitorExit)(void* monitor);
    jint(JNICALL* RawMonitorWait)(void* monitor, jlong millis);
    jint(JNICALL* RawMonitorNotify)(void* monitor);
    jint(JNICALL* RawMonitorNotifyAll)(void* monitor);
    /* 38-44: breakpoints and watches */
    jint(JNICALL* SetBreakpoint)(jclass clazz, jmethodID method, jlocation location);
    jint(JNICALL* ClearBreakpoint)(jclass clazz, jmethodID method, jlocation location);
    jint(JNICALL* ClearAllBreakpoints)();
    jint(JNICALL* SetFieldAccessWatch)(jclass clazz, jfieldID field);
    jint(JNICALL* ClearFieldAccessWatch)(jclass clazz, jfieldID field);
    jint(JNICALL* SetFieldModificationWatch)(jclass clazz, jfieldID field);
    jint(JNICALL* ClearFieldModificationWatch)(jclass clazz, jfieldID field);
    /* 45-47: memory */
    jint(JNICALL* SetAllocationHooks)(JVMDI_AllocHook allocate, JVMDI_DeallocHook deallocate);
    jint(JNICALL* Allocate)(jlong size, jbyte** memory);
    jint(JNICALL* Deallocate)(jbyte* memory);
    /* 48-57: classes */
    jint(JNICALL* GetClassSignature)(jclass clazz, char** signature);
    jint(JNICALL* GetClassStatus)(jclass clazz, jint* status);
    jint(JNICALL* GetSourceFileName)(jclass clazz, char** name);
    jint(JNICALL* GetClassModifiers)(jclass clazz, jint* modifiers);
    jint(JNICALL* GetClassMethods)(jclass clazz, jint* count, jmethodID** methods);
    jint(JNICALL* GetClassFields)(jclass clazz, jint* count, jfieldID** fields);
    jint(JNICALL* GetImplementedInterfaces)(jclass clazz, jint* count, jclass** interfaces);
    jint(JNICALL* IsInterface)(jclass clazz, jboolean* answer);
    jint(JNICALL* IsArrayClass)(jclass clazz, jboolean* answer);
    jint(JNICALL* GetClassLoader)(jclass clazz, jobject* loader);
    /* 58-59: objects */
    jint(JNICALL* GetObjectHashCode)(jobject object, jint* hash_code);
    jint(JNICALL* GetMonitorInfo)(jobject object, JVMDI_monitor_info* info);
    /* 60-63: fields */
    jint(JNICALL* GetFieldName)(jclass clazz, jfieldID field, char** name, char** signature);
    jint(JNICALL* GetFieldDeclaringClass)(jclass clazz, jfieldID field, jclass* declaring_class);
    jint(JNICALL* GetFieldModifiers)(jclass clazz, jfieldID field, jint* modifiers);
    jint(JNICALL* IsFieldSynthetic)(jclass clazz, jfieldID field, jboolean* answer);
    /* 64-77: methods */
    jint(JNICALL* GetMethodName)(jclass clazz, jmethodID method, char** name, char** signature);
    jint(JNICALL* GetMethodDeclaringClass)(jclass clazz, jmethodID method, jclass* declaring_class);
    jint(JNICALL* GetMethodModifiers)(jclass clazz, jmethodID method, jint* modifiers);
    jint(JNICALL* GetMaxStack)(jclass clazz, jmethodID method, jint* max_stack);
    jint(JNICALL* GetMaxLocals)(jclass clazz, jmethodID method, jint* max_locals);
    jint(JNICALL* GetArgumentsSize)(jclass clazz, jmethodID method, jint* size);
    jint(JNICALL* GetLineNumberTable)(jclass clazz, jmethodID method, jint* count, JVMDI_line_number_entry** table);
    jint(JNICALL* GetMethodLocation)(jclass clazz, jmethodID method, jlocation* start, jlocation* end);
    jint(JNICALL* GetLocalVariableTable)(jclass clazz, jmethodID method, jint* count,
                                         JVMDI_local_variable_entry** table);
    jint(JNICALL* GetExceptionHandlerTable)(jclass clazz, jmethodID method, jint* count,
                                            JVMDI_exception_handler_entry** table);
    jint(JNICALL* GetThrownExceptions)(jclass clazz, jmethodID method, jint* count, jclass** exceptions);
    jint(JNICALL* GetBytecodes)(jclass clazz, jmethodID method, jint* count, jbyte** bytecodes);
    jint(JNICALL* IsMethodNative)(jclass clazz, jmethodID method, jboolean* answer);
    jint(JNICALL* IsMethodSynthetic)(jclass clazz, jmethodID method, jboolean* answer);
    /* 78-79: loaded classes */
    jint(JNICALL* GetLoadedClasses)(jint* count, jclass** classes);
    jint(JNICALL* GetClassLoaderClasses)(jobject loader, jint* count, jclass** classes);
    /* 80-87: stack and heap manipulation, class redefinition */
    jint(JNICALL* PopFrame)(jthread thread);
    jint(JNICALL* SetFrameLocation)(jframeID frame, jlocation location);
    jint(JNICALL* GetOperandStack)(jframeID frame, jint* count, JVMDI_operand_stack_element** stack);
    jint(JNICALL* SetOperandStack)(jframeID frame, jint count, JVMDI_operand_stack_element* stack);
    jint(JNICALL* AllInstances)(jclass clazz, jint* count, jobject** instances);
    jint(JNICALL* References)(jobject object, JVMDI_object_reference_info* info);
    jint(JNICALL* GetClassDefinition)(jclass clazz, JVMDI_class_definition* definition);
    jint(JNICALL* RedefineClasses)(jint count, JVMDI_class_definition* definitions);
    /* 88-93: the interface itself, later additions */
    jint(JNICALL* GetVersionNumber)(jint* version);
    jint(JNICALL* GetCapabilities)(JVMDI_capabilities* capabilities);
    jint(JNICALL* GetSourceDebugExtension)(jclass clazz, char** extension);
    jint(JNICALL* IsMethodObsolete)(jclass clazz, jmethodID method, jboolean* answer);
    jint(JNICALL* SuspendThreadList)(jint count, jthread* threads, jint* results);
    jint(JNICALL* ResumeThreadList)(jint count, jthread* threads, jint* results);
};

/* ---- Layout: debuggers read these records by offset ---------------------------------------------------------- */

#define JVMDI_SLOT(n, name) \
    static_assert(offsetof(JVMDI_Interface_1, name) == ((n)-1) * sizeof(void*), #name " stands at slot " #n " - 1")
JVMDI_SLOT(1, SetEventHook);
JVMDI_SLOT(12, RunDebugThread);
JVMDI_SLOT(16, GetFrameCount);
JVMDI_SLOT(21, GetLocalObject);
JVMDI_SLOT(30, SetLocalDouble);
JVMDI_SLOT(38, SetBreakpoint);
JVMDI_SLOT(46, Allocate);
JVMDI_SLOT(48, GetClassSignature);
JVMDI_SLOT(58, GetObjectHashCode);
JVMDI_SLOT(64, GetMethodName);
JVMDI_SLOT(70, GetLineNumberTable);
JVMDI_SLOT(78, GetLoadedClasses);
JVMDI_SLOT(88, GetVersionNumber);
JVMDI_SLOT(93, ResumeThreadList);
#undef JVMDI_SLOT
static_assert(sizeof(JVMDI_Interface_1) == 93 * sizeof(void*), "the table has 93 slots");
static_assert(sizeof(JVMDI_capabilities) == 4, "capabilities are one 32-bit word");

#define JVMDI_I386(condition, why) static_assert(sizeof(void*) != 4 || (condition), why)
JVMDI_I386(sizeof(JVMDI_Event) == 48, "debuggers read an event as twelve words");
JVMDI_I386(offsetof(JVMDI_Event, u) == 4, "the data starts at word 1");
JVMDI_I386(offsetof(JVMDI_Event, u.breakpoint.location) == 16, "location is words 4-5");
JVMDI_I386(offsetof(JVMDI_Event, u.frame.frame) == 16, "frame is word 4");
JVMDI_I386(offsetof(JVMDI_Event, u.exception.exception) == 24, "exception is word 6");
JVMDI_I386(offsetof(JVMDI_Event, u.exception.catch_location) == 36, "catch location is words 9-10");
JVMDI_I386(offsetof(JVMDI_Event, u.exception_catch.exception) == 24, "exception is word 6");
JVMDI_I386(offsetof(JVMDI_Event, u.field_access.field) == 32, "field is word 8");
JVMDI_I386(offsetof(JVMDI_Event, u.field_modification.signature_type) == 36, "signature type is word 9");
JVMDI_I386(offsetof(JVMDI_Event, u.field_modification.new_value) == 40, "new value is words 10-11");
JVMDI_I386(offsetof(JVMDI_Event, u.user.key) == 8, "key is word 2");
JVMDI_I386(sizeof(JVMDI_thread_info) == 20, "five words");
JVMDI_I386(sizeof(JVMDI_thread_group_info) == 16, "four words");
JVMDI_I386(sizeof(JVMDI_monitor_info) == 16, "four words");
JVMDI_I386(sizeof(JVMDI_owned_monitor_info) == 8, "two words");
JVMDI_I386(sizeof(JVMDI_line_number_entry) == 12, "three words");
JVMDI_I386(sizeof(JVMDI_local_variable_entry) == 24, "six words");
JVMDI_I386(sizeof(JVMDI_exception_handler_entry) == 28, "seven words");
JVMDI_I386(sizeof(JVMDI_class_definition) == 12, "three words");
#undef JVMDI_I386

#endif
