/* agent_entry.h: the debugger's entry points, by subject.
 *
 * A debugger calls these functions inside the stopped process, in practice on the agent thread while it sits at a hook
 * point. Rules that hold for all of them:
 *
 * - The first argument is the calling thread's JNIEnv. Null makes the function ask `javavm` for it (GetEnv, JNI 1.2); if
 *   that fails, the process aborts. The caller must be a thread that the VM knows; which one is not checked.
 * - The result is an error code of the VM's debug interface, 0 for success, unless said otherwise; data comes back through
 *   addresses that the debugger passes. 113: a null address or a Java exception (printed by the VM and cleared); 100: the
 *   calling thread is not in the thread map; 99: not available on this interface.
 * - Each works through JVMTI when `jvmti` is set, else through JVMDI; the VM functions named are the same in both.
 * - References that are handed out are URefs where said so, and stay valid until the Java threads run again.
 */
#ifndef QUOR_AGENT_ENTRY_H
#define QUOR_AGENT_ENTRY_H

#include "registry/agent_records.h"
#include "registry/class_info.h"
#include "stop/suspend.h"

/* ---- Attach, detach, suspend and resume (suspend.cpp, attach.cpp) ---- */

/* Takes hold of the Java side: installs the full event hooks (SetEventCallbacks or SetEventHook), switches on the events
 * that the debugger needs (SetEventNotificationMode), and lists the prepared classes afresh. 0, or the code of installing
 * the event hooks, after "agent_attach_jquor: JVMDI_SetEventHook() failed -- ...". On the agent thread, which must be at a hook or
 * waiting; on a VM newer than JVMTI 1.0 it gives 99 elsewhere, and has done nothing. A debugger that stops the process anywhere
 * sets jquor_attached first, and calls this at the agent's answer, jquor_jvmdi_sync_hook. One that calls it at a hook may set
 * jquor_attached afterwards. */
AGENT_API jint agent_attach_jquor(JNIEnv* env);

/* Lets go: switches the events off, puts the boot event hook back and clears all breakpoints (JVMDI only), drops pending
 * invocations and resumes all threads. Under JVMTI breakpoints stay set and the callbacks installed. Gives 0.
 * On a VM newer than JVMTI 1.0 handles end with the stop at which this is called, but for those of threads and those that a
 * filter holds; so do handles of classes, which otherwise live as long as the process. */
AGENT_API jint agent_detach_jquor(JNIEnv* env);

/* One thread, by its handle: SuspendThread, ResumeThread, StopThread (throws `exception` in it), InterruptThread. The VM's
 * code is given unchanged; agent_suspend_all and agent_resume_all keep their own account. */
AGENT_API jint agent_suspendthread(JNIEnv* env, jthread thread);
AGENT_API jint agent_resumethread(JNIEnv* env, jthread thread);
AGENT_API jint agent_stopthread(JNIEnv* env, jthread thread, jobject exception);
AGENT_API jint agent_interruptthread(JNIEnv* env, jthread thread);

/* ---- Threads, thread groups and monitors (threads.cpp, monitors.cpp) ---- */

/* Lists the handles of the threads of the thread map, without the agent thread's. The list is the agent's, valid
 * until the next call. Gives 0; a thread for which the list cannot grow is left out, after the message of the failed
 * Allocate or Deallocate. */
AGENT_API jint agent_get_threads(JNIEnv* env, jint* count, jthread** threads);

/* Describes a thread, given by its handle. `info` is the debugger's memory: its name is the agent's, owned by the
 * calling thread's record until that thread's next query that fills it or until the process resumes; group and class
 * loader are URefs, kept until it resumes. `tid` receives the thread's id, 0 if the thread map does not hold it.
 * Under JVMTI `status` is the thread's state and `suspend_status` -1, whatever the result. 0; 100; the VM's code. VM
 * GetThreadInfo, then GetThreadStatus or GetThreadState. */
AGENT_API jint agent_get_threadinfo(JNIEnv* env, jthread thread, JVMDI_thread_info* info, agent_tid_t* tid,
                                    jint* status, jint* suspend_status);

/* Thread groups, with the VM's code. What is handed over stays as the VM gave it: references are its own, arrays and
 * names the debugger's to release (VM Deallocate). VM GetTopThreadGroups, GetThreadGroupInfo,
 * GetThreadGroupChildren. */
AGENT_API jint agent_get_topthreadgroups(JNIEnv* env, jint* count, jthreadGroup** groups);
AGENT_API jint agent_get_threadgroupinfo(JNIEnv* env, jthreadGroup group, JVMDI_thread_group_info* info);
AGENT_API jint agent_get_threadgroupchildren(JNIEnv* env, jthreadGroup group, jint* thread_count, jthread** threads,
                                             jint* group_count, jthreadGroup** groups);

/* Monitors need three capabilities: can_get_owned_monitor_info, can_get_current_contended_monitor and
 * can_get_monitor_info. Where one is missing the queries below, but for agent_get_monitorinfo, give an empty answer
 * and 0. Monitors are handed out as the VM gave them (a newer JVMTI's as global references) and kept until the
 * process resumes. */

/* The monitors that a thread owns. The array is owned by the calling thread's record until that thread's next query
 * that fills it, or until the process resumes. 0; 100; the VM's code. VM GetOwnedMonitorInfo. */
AGENT_API jint agent_get_owned_monitorinfo(JNIEnv* env, jthread thread, JVMDI_owned_monitor_info* info);

/* The monitor that a thread waits for, or null; the VM's code. VM GetCurrentContendedMonitor. The first also wants
 * JVMDI's capabilities where there is a JVMDI beside JVMTI. The second gives 0 for the agent thread and leaves
 * `monitor` alone; a failure prints "AgentThread: JVMDI_GetCurrentContendedMonitorInfo() failed -- ...". */
AGENT_API jint agent_get_current_contendedmonitor(JNIEnv* env, jthread thread, jobject* monitor);
AGENT_API jint agent_get_contended_monitor(JNIEnv* env, jthread thread, jobject* monitor);

/* Describes every monitor that a thread of the thread map, other than the agent thread, owns. The array and the
 * waiters' arrays are the agent's: the calling thread's record keeps them and fills them anew at the next call. A
 * thread whose monitors cannot be had is left out, after a message. 0; 100; the code of a failed VM call, after its
 * message, with the outputs untouched. VM GetOwnedMonitorInfo, then GetMonitorInfo or GetObjectMonitorUsage. */
AGENT_API jint agent_get_monitorlist(JNIEnv* env, jint* count, monitor_entry** monitors);

/* Describes the monitor of any object in `info`, the debugger's memory; owner and waiters are URefs, a waiter that
 * the thread map does not hold is a 0 in its slot, and `waiter_count` tells how many slots are filled. The waiters'
 * array is the debugger's to release (VM Deallocate); nothing here ends when the process resumes. 0; the code of a
 * failed GetObjectHashCode or GetObjectMonitorUsage, with `info` untouched. A failing JVMDI GetMonitorInfo counts as
 * a monitor that nobody uses. */
AGENT_API jint agent_get_monitorinfo(JNIEnv* env, jobject object, JVMDI_monitor_info* info);

/* Thread-map callbacks; results are ignored by the walks. The first appends the thread to the list of
 * agent_get_threads, whose length so far is at `count`. The second collects the thread's monitors in `collection`:
 * two words, their total number and the head of a list of nodes in VM memory (next node, count, monitors). */
AGENT_API jint cb_threadInfo(void* env, tmap_record* record, void* count);
AGENT_API jint cb_monitorInfo(void* env, tmap_record* record, void* collection);

/* ---- Classes and objects (classes.cpp) ---- */

/* The same for the class of this name (JNI form, with slashes; FindClass) or the superclass of `clazz` (GetSuperclass),
 * which `info` names by its URef. 113: `info` is null, or the look-up raised an exception. Without a class `info` names
 * none and the result is 0: java/lang/Object and interfaces have no superclass. On a VM newer than JVMTI 1.0 a class that is
 * loaded is found without FindClass (JVMTI GetClassLoaderClasses), and not initialised by the look-up. */
AGENT_API jint agent_get_class(JNIEnv* env, const char* name, class_info* info);
AGENT_API jint agent_get_superclass(JNIEnv* env, jclass clazz, class_info* info);

/* Gives the URef of an object's class (JNI GetObjectClass). 0; 113: `clazz` is null, or an exception was raised. */
AGENT_API jint agent_get_objectclass(JNIEnv* env, jobject object, jclass* clazz);

/* Hands over the batch of classes prepared since the last call. The array is the agent's, valid until the same
 * thread asks again or makes another query that fills its result area, or the process resumes. 0; 100; the code of a
 * failed PrepList_get, after "AgentThread: JVMDI_GetLinkedClasses() failed -- ...", or of a failed Deallocate, after
 * its message. */
AGENT_API jint agent_get_classes(JNIEnv* env, jint* count, class_info** classes);

/* Gives a string's characters in modified UTF-8 and their length in bytes; null and 0 when the VM gives none. Copied
 * characters are the agent's, valid until the next call. Always 0. JNI GetStringUTFChars. */
AGENT_API jint agent_get_stringvalue(JNIEnv* env, jstring string, jint* length, const char** characters);

/* The answer of JNI IsInstanceOf, and of GetArrayLength, itself: no error code. */
AGENT_API jboolean agent_is_instanceof(JNIEnv* env, jobject object, jclass clazz);
AGENT_API jint agent_get_arraylength(JNIEnv* env, jarray array);

/* ---- Fields and arrays (values.cpp) ---- */

/* Sixty-three functions, all plain JNI calls. A field is a JNI field ID of the metadata queries below, an object,
 * class or array any reference that was handed out. Values have exactly their JNI types; a jlong is two words on
 * i386, low word first. Getters look for no exception, and nothing that they are given is checked. */

/* Instance fields: the value itself (JNI Get<Type>Field). The boolean one prints "get_field_boolean() -> %d" for a
 * byte that is neither 0 nor 1, and returns it all the same. The object one gives a URef, kept until the process
 * resumes. */
AGENT_API jboolean agent_get_field_boolean(JNIEnv* env, jobject object, jfieldID id);
AGENT_API jbyte agent_get_field_byte(JNIEnv* env, jobject object, jfieldID id);
AGENT_API jchar agent_get_field_char(JNIEnv* env, jobject object, jfieldID id);
AGENT_API jshort agent_get_field_short(JNIEnv* env, jobject object, jfieldID id);
AGENT_API jint agent_get_field_int(JNIEnv* env, jobject object, jfieldID id);
AGENT_API jlong agent_get_field_long(JNIEnv* env, jobject object, jfieldID id);
AGENT_API jfloat agent_get_field_float(JNIEnv* env, jobject object, jfieldID id);
AGENT_API jdouble agent_get_field_double(JNIEnv* env, jobject object, jfieldID id);
AGENT_API jobject agent_get_field_object(JNIEnv* env, jobject object, jfieldID id);

/* The same for static fields (JNI GetStatic<Type>Field). No boolean is looked at. */
AGENT_API jboolean agent_get_static_field_boolean(JNIEnv* env, jclass clazz, jfieldID id);
AGENT_API jbyte agent_get_static_field_byte(JNIEnv* env, jclass clazz, jfieldID id);
AGENT_API jchar agent_get_static_field_char(JNIEnv* env, jclass clazz, jfieldID id);
AGENT_API jshort agent_get_static_field_short(JNIEnv* env, jclass clazz, jfieldID id);
AGENT_API jint agent_get_static_field_int(JNIEnv* env, jclass clazz, jfieldID id);
AGENT_API jlong agent_get_static_field_long(JNIEnv* env, jclass clazz, jfieldID id);
AGENT_API jfloat agent_get_static_field_float(JNIEnv* env, jclass clazz, jfieldID id);
AGENT_API jdouble agent_get_static_field_double(JNIEnv* env, jclass clazz, jfieldID id);
AGENT_API jobject agent_get_static_field_object(JNIEnv* env, jclass clazz, jfieldID id);

/* Set an instance field (JNI Set<Type>Field). 0, or 113 after an exception. */
AGENT_API jint agent_set_field_boolean(JNIEnv* env, jobject object, jfieldID id, jboolean value);
AGENT_API jint agent_set_field_byte(JNIEnv* env, jobject object, jfieldID id, jbyte value);
AGENT_API jint agent_set_field_char(JNIEnv* env, jobject object, jfieldID id, jchar value);
AGENT_API jint agent_set_field_short(JNIEnv* env, jobject object, jfieldID id, jshort value);
AGENT_API jint agent_set_field_int(JNIEnv* env, jobject object, jfieldID id, jint value);
AGENT_API jint agent_set_field_long(JNIEnv* env, jobject object, jfieldID id, jlong value);
AGENT_API jint agent_set_field_float(JNIEnv* env, jobject object, jfieldID id, jfloat value);
AGENT_API jint agent_set_field_double(JNIEnv* env, jobject object, jfieldID id, jdouble value);
AGENT_API jint agent_set_field_object(JNIEnv* env, jobject object, jfieldID id, jobject value);

/* Set a static field (JNI SetStatic<Type>Field). 0, or 113 after an exception. */
AGENT_API jint agent_set_static_field_boolean(JNIEnv* env, jclass clazz, jfieldID id, jboolean value);
AGENT_API jint agent_set_static_field_byte(JNIEnv* env, jclass clazz, jfieldID id, jbyte value);
AGENT_API jint agent_set_static_field_char(JNIEnv* env, jclass clazz, jfieldID id, jchar value);
AGENT_API jint agent_set_static_field_short(JNIEnv* env, jclass clazz, jfieldID id, jshort value);
AGENT_API jint agent_set_static_field_int(JNIEnv* env, jclass clazz, jfieldID id, jint value);
AGENT_API jint agent_set_static_field_long(JNIEnv* env, jclass clazz, jfieldID id, jlong value);
AGENT_API jint agent_set_static_field_float(JNIEnv* env, jclass clazz, jfieldID id, jfloat value);
AGENT_API jint agent_set_static_field_double(JNIEnv* env, jclass clazz, jfieldID id, jdouble value);
AGENT_API jint agent_set_static_field_object(JNIEnv* env, jclass clazz, jfieldID id, jobject value);

/* Store one element of an array at `value`; 0 there when the VM gives no elements. `index` is not checked. Elements
 * that the VM gave without copying are never released. Always 0. JNI Get<Type>ArrayElements,
 * Release<Type>ArrayElements. On a VM newer than JVMTI 1.0 the element alone is read (Get<Type>ArrayRegion), and 113 with 0 at
 * `value` tells of an index beyond the end. */
AGENT_API jint agent_get_booleanarray_element(JNIEnv* env, jbooleanArray array, jint index, jboolean* value);
AGENT_API jint agent_get_bytearray_element(JNIEnv* env, jbyteArray array, jint index, jbyte* value);
AGENT_API jint agent_get_chararray_element(JNIEnv* env, jcharArray array, jint index, jchar* value);
AGENT_API jint agent_get_shortarray_element(JNIEnv* env, jshortArray array, jint index, jshort* value);
AGENT_API jint agent_get_intarray_element(JNIEnv* env, jintArray array, jint index, jint* value);
AGENT_API jint agent_get_longarray_element(JNIEnv* env, jlongArray array, jint index, jlong* value);
AGENT_API jint agent_get_floatarray_element(JNIEnv* env, jfloatArray array, jint index, jfloat* value);
AGENT_API jint agent_get_doublearray_element(JNIEnv* env, jdoubleArray array, jint index, jdouble* value);

/* The element itself: a URef, kept until the process resumes; null after an exception. JNI GetObjectArrayElement. */
AGENT_API jobject agent_get_objarray_element(JNIEnv* env, jobjectArray array, jint index);

/* Set one element of an array (JNI Set<Type>ArrayRegion, SetObjectArrayElement), whose index the VM checks. 0, or
 * 113 after an exception. */
AGENT_API jint agent_set_booleanarray_element(JNIEnv* env, jbooleanArray array, jint index, jboolean value);
AGENT_API jint agent_set_bytearray_element(JNIEnv* env, jbyteArray array, jint index, jbyte value);
AGENT_API jint agent_set_chararray_element(JNIEnv* env, jcharArray array, jint index, jchar value);
AGENT_API jint agent_set_shortarray_element(JNIEnv* env, jshortArray array, jint index, jshort value);
AGENT_API jint agent_set_intarray_element(JNIEnv* env, jintArray array, jint index, jint value);
AGENT_API jint agent_set_longarray_element(JNIEnv* env, jlongArray array, jint index, jlong value);
AGENT_API jint agent_set_floatarray_element(JNIEnv* env, jfloatArray array, jint index, jfloat value);
AGENT_API jint agent_set_doublearray_element(JNIEnv* env, jdoubleArray array, jint index, jdouble value);
AGENT_API jint agent_set_objarray_element(JNIEnv* env, jobjectArray array, jint index, jobject value);

/* Make an array of zeros (JNI New<Type>Array): its URef, kept until the process resumes, or null after an exception.
 * It is stored at `array` too. The boolean one returns a local reference and only stores the URef. */
AGENT_API jbooleanArray agent_new_booleanarray(JNIEnv* env, jint length, jbooleanArray* array);
AGENT_API jbyteArray agent_new_bytearray(JNIEnv* env, jint length, jbyteArray* array);
AGENT_API jcharArray agent_new_chararray(JNIEnv* env, jint length, jcharArray* array);
AGENT_API jshortArray agent_new_shortarray(JNIEnv* env, jint length, jshortArray* array);
AGENT_API jintArray agent_new_intarray(JNIEnv* env, jint length, jintArray* array);
AGENT_API jlongArray agent_new_longarray(JNIEnv* env, jint length, jlongArray* array);
AGENT_API jfloatArray agent_new_floatarray(JNIEnv* env, jint length, jfloatArray* array);
AGENT_API jdoubleArray agent_new_doublearray(JNIEnv* env, jint length, jdoubleArray* array);

/* The same, only returned, for an array of objects of class `element`, each `initial` (JNI NewObjectArray). */
AGENT_API jobjectArray agent_new_objectarray(JNIEnv* env, jint length, jclass element, jobject initial);

/* ---- Frames and locals (frames.cpp) ---- */

/* A frame has a name of each interface, and callers pass both: `frame` is JVMDI's frame ID; (`thread`, `depth`) is
 * JVMTI's, depth 0 being the top frame. The results are the VM's codes. */

/* The top frame of a thread: its ID (JVMDI only; JVMTI leaves `frame` alone), the URef of its method's class, the
 * method and the location. VM GetCurrentFrame (JVMDI), GetFrameLocation, GetMethodDeclaringClass (JVMTI). */
AGENT_API jint agent_get_currentframe(JNIEnv* env, jthread thread, jframeID* frame, jclass* clazz, jmethodID* method,
                                      jlocation* location);

/* The same of a frame's caller. JVMDI: `caller` receives the ID of the caller of `frame`, also when its location
 * then cannot be had (VM GetCallerFrame). JVMTI: `depth` is the caller's own, and `caller` receives 0. */
AGENT_API jint agent_get_callerframe(JNIEnv* env, jframeID frame, jframeID* caller, jclass* clazz, jmethodID* method,
                                     jlocation* location, jthread thread, jint depth);

/* VM GetFrameCount, PopFrame, NotifyFramePop, whose code is 99 with an agent that was loaded light (__QUOR_LIGHT). */
AGENT_API jint agent_get_framecount(JNIEnv* env, jthread thread, jint* count);
AGENT_API jint agent_popframe(JNIEnv* env, jthread thread);
AGENT_API jint agent_notifyframepop(JNIEnv* env, jframeID frame, jthread thread, jint depth);

/* Reads all slots of a frame's local variables as ints. The array is the agent's: the calling thread's record keeps
 * it and fills it anew at the next call. All or nothing: a slot that holds no int gives its code, and count and
 * values 0; so does any other failed query. 100 and the code of a failed Allocate or Deallocate, after its message,
 * leave both untouched. VM GetFrameLocation, GetMaxLocals, GetLocalInt. */
AGENT_API jint agent_get_locals(JNIEnv* env, jframeID frame, jint* count, jint** values, jthread thread, jint depth);

/* One local variable (VM GetLocal<Type>). An object comes as its URef, kept until the process resumes. */
AGENT_API jint agent_get_localobject(JNIEnv* env, jframeID frame, jint slot, jobject* value, jthread thread,
                                     jint depth);
AGENT_API jint agent_get_localint(JNIEnv* env, jframeID frame, jint slot, jint* value, jthread thread, jint depth);
AGENT_API jint agent_get_locallong(JNIEnv* env, jframeID frame, jint slot, jlong* value, jthread thread, jint depth);
AGENT_API jint agent_get_localfloat(JNIEnv* env, jframeID frame, jint slot, jfloat* value, jthread thread, jint depth);
AGENT_API jint agent_get_localdouble(JNIEnv* env, jframeID frame, jint slot, jdouble* value, jthread thread,
                                     jint depth);

/* Set it (VM SetLocal<Type>). A long or a double is two words on i386, low word first; an object is any reference
 * that was handed out. */
AGENT_API jint agent_set_localobject(JNIEnv* env, jframeID frame, jint slot, jobject value, jthread thread, jint depth);
AGENT_API jint agent_set_localint(JNIEnv* env, jframeID frame, jint slot, jint value, jthread thread, jint depth);
AGENT_API jint agent_set_locallong(JNIEnv* env, jframeID frame, jint slot, jlong value, jthread thread, jint depth);
AGENT_API jint agent_set_localfloat(JNIEnv* env, jframeID frame, jint slot, jfloat value, jthread thread, jint depth);
AGENT_API jint agent_set_localdouble(JNIEnv* env, jframeID frame, jint slot, jdouble value, jthread thread, jint depth);

/* ---- Breakpoints, watches and event control (control.cpp) ---- */

/* Set and clear a breakpoint. The VM's code. `clazz` is the method's; JVMTI does without it. VM SetBreakpoint,
 * ClearBreakpoint. */
AGENT_API jint agent_set_breakpoint(JNIEnv* env, jclass clazz, jmethodID method, jlocation location);
AGENT_API jint agent_clear_breakpoint(JNIEnv* env, jclass clazz, jmethodID method, jlocation location);

/* Clears every breakpoint (JVMDI ClearAllBreakpoints). 99 under JVMTI, which cannot: breakpoints stay. */
AGENT_API jint agent_clear_allbreakpoints(JNIEnv* env);

/* Set and clear a watch on reads or writes of a field. The VM's code. VM SetFieldAccessWatch, ClearFieldAccessWatch,
 * SetFieldModificationWatch, ClearFieldModificationWatch. */
AGENT_API jint agent_set_fieldaccesswatch(JNIEnv* env, jclass clazz, jfieldID field);
AGENT_API jint agent_clear_fieldaccesswatch(JNIEnv* env, jclass clazz, jfieldID field);
AGENT_API jint agent_set_fieldmodificationwatch(JNIEnv* env, jclass clazz, jfieldID field);
AGENT_API jint agent_clear_fieldmodificationwatch(JNIEnv* env, jclass clazz, jfieldID field);

/* Add and remove the agent's own filters (event/filters.h): kinds 1 (classes loaded), 2 (methods by name; the
 * signature may be cut short), 3 (thrown exceptions) and 5 (exceptions that leave a method: the class's and the
 * method's value as events show them). Texts are copied. Adding gives 0, the code of a failed Allocate, or, for kinds 3 and 5
 * of an agent that was loaded light (__QUOR_LIGHT) and sees no exceptions, 99; removing gives 0. */
AGENT_API jint agent_set_classload_filter(JNIEnv* env, const char* class_name);
AGENT_API jint agent_clear_classload_filter(JNIEnv* env, const char* class_name);
AGENT_API jint agent_set_methodbpt(JNIEnv* env, const char* method_name, const char* signature);
AGENT_API jint agent_clr_methodbpt(JNIEnv* env, const char* method_name, const char* signature);
AGENT_API jint agent_set_thrownexception_filter(JNIEnv* env, const char* class_name);
AGENT_API jint agent_clear_thrownexception_filter(JNIEnv* env, const char* class_name);
AGENT_API jint agent_set_uncaughtexception_filter(JNIEnv* env, uintptr_t clazz, uintptr_t method);
AGENT_API jint agent_clear_uncaughtexception_filter(JNIEnv* env, uintptr_t clazz, uintptr_t method);

/* Switches an event on (mode 1) or off (0), for all threads or for one, given by its handle. `kind` is a JVMDI kind,
 * under JVMTI also an event number of its own (50 to 84). The VM's code; 102 for a kind that JVMTI has no event for;
 * 0, with nothing done, for a thread that the thread map does not hold. The VM's code is 99 for the events that an agent loaded
 * light (__QUOR_LIGHT) does without: EXCEPTION, EXCEPTION_CATCH, FRAME_POP, METHOD_EXIT. VM SetEventNotificationMode. */
AGENT_API jint agent_set_eventnotification(JNIEnv* env, jint mode, jint kind, jthread thread);

/* RequestEvent, EnableEvent and DisableEvent of the interface that the debugger has stored in `jvmpi`, which is not
 * checked for being there; their results. */
AGENT_API jint agent_request_jvmpi_event(JNIEnv* env, jint event_type, void* argument);
AGENT_API jint agent_enable_jvmpi_event(JNIEnv* env, jint event_type, void* argument);
AGENT_API jint agent_disable_jvmpi_event(JNIEnv* env, jint event_type, void* argument);

/* ---- Method and class metadata (metadata.cpp) ---- */

/* The results are the VM's codes, 99 or 100; nothing is printed but where said. Under JVMTI the class of a method is
 * ignored.
 *
 * Handed over as the VM gave them, the debugger's to release (VM Deallocate): GetSourceFileName, GetClassFields,
 * GetFieldName (and then GetFieldModifiers), GetImplementedInterfaces. */
AGENT_API jint agent_get_sourcefilename(JNIEnv* env, jclass clazz, char** name);
AGENT_API jint agent_get_classfields(JNIEnv* env, jclass clazz, jint* count, jfieldID** fields);
AGENT_API jint agent_get_fieldname(JNIEnv* env, jclass clazz, jfieldID field, char** name, char** signature,
                                   jint* modifiers);
AGENT_API jint agent_get_implementedinterfaces(JNIEnv* env, jclass clazz, jint* count, jclass** interfaces);

/* The same, on JVMDI only (99 under JVMTI, outputs untouched): GetExceptionHandlerTable, GetThrownExceptions,
 * GetMaxStack. */
AGENT_API jint agent_get_exceptionhandlertable(JNIEnv* env, jclass clazz, jmethodID method, jint* count,
                                               JVMDI_exception_handler_entry** table);
AGENT_API jint agent_get_thrownexceptions(JNIEnv* env, jclass clazz, jmethodID method, jint* count, jclass** classes);
AGENT_API jint agent_get_maxstack(JNIEnv* env, jclass clazz, jmethodID method, jint* size);

/* Describes the methods of a class in the VM's order, or only `method` if it is not null. The array is the agent's:
 * the calling thread's record keeps it and fills it anew at the next call. On a failure the count is 0, and
 * `methods` what the record has. A failed Allocate or Deallocate prints its message. VM GetClassMethods,
 * GetMethodModifiers, GetMethodName. */
AGENT_API jint agent_get_classmethods(JNIEnv* env, jclass clazz, jmethodID method, jint* count, method_entry** methods);

/* The calling thread's record owns these three answers and releases them before that thread's next query that fills
 * it, or when the process resumes. VM GetLineNumberTable, GetLocalVariableTable (under JVMTI converted, without the
 * generic signatures), GetBytecodes. Byte codes need the capability can_get_bytecodes: without it 99 with count and
 * bytes 0. */
AGENT_API jint agent_get_linenumbertable(JNIEnv* env, jclass clazz, jmethodID method, jint* count,
                                         JVMDI_line_number_entry** table);
AGENT_API jint agent_get_localvariabletable(JNIEnv* env, jclass clazz, jmethodID method, jint* count,
                                            JVMDI_local_variable_entry** table);
AGENT_API jint agent_get_bytecodes(JNIEnv* env, jclass clazz, jmethodID method, jint* count, unsigned char** bytes);

/* The version of the interface in use (VM GetVersionNumber). */
AGENT_API jint agent_get_versionnumber(JNIEnv* env, jint* version);

/* What the VM can do, in JVMDI's layout on both interfaces (VM GetCapabilities, patch_capabilities). */
AGENT_API jint agent_get_capabilities(JNIEnv* env, JVMDI_capabilities* capabilities);

/* ---- Method invocation (invocation.cpp) ---- */

/* Runs `method` (return type: a JNI signature character) of `object` in the thread with this handle, with `count` arguments
 * of 8 bytes each. Bit 0 of `flags`: wait for the outcome, which goes to `result`; otherwise it is met at
 * hook_invoke_method, and `result` is not used. Agent thread only: 99, after "invoke_method(): call can run only on the
 * agent", elsewhere. Further results as post_invoke_request and process_invokemethod_event. */
AGENT_API jint agent_invoke_method(JNIEnv* env, jobject thread, jobject object, jmethodID method, jint return_type,
                                   jint count, const jvalue* arguments, jint flags, AgentInvokRet* result);

/* The same for a static method of `clazz`; on another thread it prints "invoke_static_method(): call can run only on the
 * agent" and aborts. */
AGENT_API jint agent_invoke_static_method(JNIEnv* env, jobject thread, jclass clazz, jmethodID method, jint return_type,
                                          jint count, const jvalue* arguments, jint flags, AgentInvokRet* result);

#endif
