/* agent_main.h: the agent's core: load entry points, capabilities, the agent thread, intake and processing of VM events,
 * and the hook points that a debugger plants its breakpoints on.
 *
 * A VM event is turned into a JVMDI_Event on the thread that raised it, filtered there, and queued (agent_event.h). The
 * agent thread takes it, makes its references durable, stops the other Java threads, calls the hook point of its kind, and
 * lets the threads run again when the hook returns.
 */
#ifndef QUOR_AGENT_MAIN_H
#define QUOR_AGENT_MAIN_H

#include "support/agent_types.h"
#include "vm/jvmdi.h"
#include "vm/jvmpi.h"

/* Globals. Single words unless said otherwise; their names, types and sizes are the debugger's interface. */

AGENT_API jint attached;                     /* handshake flag: cleared by the agent, set by the debugger's process   */
AGENT_API JavaVM* javavm;                    /* the VM that loaded the agent; set once, at load                       */
AGENT_API jvmtiEnv* jvmti;                   /* the JVMTI environment; null when the agent works through JVMDI        */
AGENT_API JVMDI_Interface_1* jvmdi;          /* the JVMDI table; meaningful only when `jvmti` is null                 */
AGENT_API JVMPI_Interface* jvmpi;            /* null at load; a debugger may store an interface here                  */
AGENT_API jvmtiCapabilities jvmti_features;  /* what was requested of a JVMTI VM (four 32-bit words)                 */
AGENT_API JVMDI_capabilities jvmdi_features; /* what a JVMDI VM offers, corrected (one 32-bit word)                 */
AGENT_API jobject agent_thread;              /* URef of the agent's java.lang.Thread; 0 once the thread has finished  */
AGENT_API agent_tid_t tid_debug_agent;       /* the agent thread's id; written once, by itself                        */
AGENT_API JNIEnv* quor_env;                  /* the agent thread's JNIEnv, stored by jquor_jvmdi_sync_hook            */
AGENT_API agent_tid_t quor_tid;              /* the agent thread's id, stored there                                   */
AGENT_API const char* quor_classpath;        /* the combined class path, stored there; may be null                    */
AGENT_API const char* quor_vmversion;        /* the VM's version text, stored there; may be null                      */
AGENT_API jint vm_init_done;                 /* 1 from the handled VM_INIT to VM_DEATH                                */
AGENT_API jobject java_lang_throwable;       /* URef of the exception that aborts an abandoned invocation             */

/* Load. Called by the JVM on its start-up thread, with the option string after "-Xrun<lib>:" or "-agentlib:<lib>="
 * (comma-separated items "sync=<pid>" and "fifo=<path>"; changed in place) or null. The result is 0: a failure prints its
 * message and aborts. JVM_OnLoad works through JVMTI, or through JVMDI where the VM has no JVMTI or the environment variable
 * __QUOR_USE_JVMDI is set; Agent_OnLoad through JVMTI only. */
AGENT_API jint JNICALL JVM_OnLoad(JavaVM* vm, char* options, void* reserved);
AGENT_API jint JNICALL Agent_OnLoad(JavaVM* vm, char* options, void* reserved);

/* The resource list: references handed to the debugger during a stop, released when the process resumes. It has no lock:
 * the agent thread works on it while the debugger holds it at a hook, and when it resumes the others. */

typedef void (*release_function)(JNIEnv* env, jobject reference);

/* Empties the list; gives 0. Called at load. */
AGENT_API jint reslist_init();

/* Records `reference` for release(env, reference) at the next resume. `description`, a constant text, serves diagnosis.
 * A null reference records nothing. If the VM's Allocate fails, "AgentThread: JVMDI_Allocate() failed -- ..." is printed
 * and the reference is not recorded. */
AGENT_API void add_resource(JNIEnv* env, jobject reference, release_function release, const char* description);

/* Releases everything recorded, newest first. */
AGENT_API void free_resources(JNIEnv* env);

/* Capabilities. */

/* The JVMDI version number, asked of the VM once (GetVersionNumber). */
AGENT_API jint jvmdiVersion();

/* Clears can_suspend_resume_thread_lists where a JVMDI of version 0x20010000 to 0x20010002 reports it. */
AGENT_API void patch_capabilities(JVMDI_capabilities* capabilities);

/* Turns `features` into the set that the agent needs and requests it (JVMTI AddCapabilities); 0. `caller` is "JVM_OnLoad"
 * or "Agent_OnLoad"; any failure prints what was refused and aborts. Start-up thread only. */
AGENT_API jint enable_jvmticapabilities(jvmtiCapabilities* features, const char* caller);

/* Log, under LogJVMDI, the name of each capability that is set. */
AGENT_API void check_features(JVMDI_capabilities capabilities);
AGENT_API void check_jvmtifeatures(jvmtiCapabilities capabilities);

/* The agent thread. */

/* Creates the agent's Java daemon thread and returns when it has met the debugger at jquor_jvmdi_sync_hook. Called on the
 * thread that delivers VM_INIT; each failure prints its message and aborts. */
AGENT_API void start_agent_thread(JNIEnv* env);

/* The thread's bodies, started by JVMDI RunDebugThread and JVMTI RunAgentThread; the last argument is ignored. */
AGENT_API void JNICALL jvmdi_debug_agent(void* ignored);
AGENT_API void JNICALL jvmti_debug_agent(jvmtiEnv* vm, JNIEnv* env, void* ignored);

/* The thread's loop over process_next_event, until VM_DEATH ends it. */
AGENT_API void agent_bar();

/* Seeds the list of prepared classes and shows the agent to a debugger that has set jquor_attached. Agent thread only.
 * Gives the result of resume_after_event. */
AGENT_API jint process_on_attach();

/* The class path (the boot class path appended after ":" when the VM names one) and the VM's version, each asked of the VM
 * once, on the agent thread; null, after a message, when it cannot be had. The text is never freed. */
AGENT_API const char* get_classpath(JNIEnv* env);
AGENT_API const char* get_vmversion(JNIEnv* env);

/* The first contact, a hook point with arguments: stores the agent thread's JNIEnv and id, the class path and the VM version
 * in the quor_ globals, and gives the version. `creator` is the id of the thread that created the agent thread. */
AGENT_API const char* jquor_jvmdi_sync_hook(JNIEnv* env, agent_tid_t tid, const char* classpath, agent_tid_t creator,
                                            const char* vmversion);

/* Intake. The full hooks, installed by agent_attach_jquor; they run on the raising Java thread. */

AGENT_API void JNICALL jvmdi_event_hook(JNIEnv* env, JVMDI_Event* event);
AGENT_API void jvmti_event_hook(JNIEnv* env, JVMDI_Event* event, agent_tid_t tid);
/* For JVMPI notification, when somebody has connected it. */
AGENT_API void jvmpi_event_hook(JVMPI_Event* event);
/* The hook in force until the debugger attaches, on both interfaces: it tracks threads and classes, and on VM_INIT seeds the
 * registries and starts the agent thread. */
AGENT_API void JNICALL boot_event_hook(JNIEnv* env, JVMDI_Event* event);

/* 1 if the class is one of the platform's own (java, javax, oro packages; arrays of one dimension too), 0 if not or if its
 * signature cannot be had; the code of a failing Deallocate. VM GetClassSignature, Deallocate. */
AGENT_API jint is_system_class(JNIEnv* env, jclass clazz);

/* The JVMTI callbacks of the attached phase, with JVMTI's own arguments. */
AGENT_API void JNICALL cb_jvmtiEventSingleStep(jvmtiEnv*, JNIEnv*, jthread, jmethodID, jlocation);
AGENT_API void JNICALL cb_jvmtiEventBreakpoint(jvmtiEnv*, JNIEnv*, jthread, jmethodID, jlocation);
AGENT_API void JNICALL cb_jvmtiEventFramePop(jvmtiEnv*, JNIEnv*, jthread, jmethodID, jboolean);
AGENT_API void JNICALL cb_jvmtiEventException(jvmtiEnv*, JNIEnv*, jthread, jmethodID, jlocation, jobject, jmethodID,
                                              jlocation);
AGENT_API void JNICALL cb_jvmtiEventExceptionCatch(jvmtiEnv*, JNIEnv*, jthread, jmethodID, jlocation, jobject);
AGENT_API void JNICALL cb_jvmtiEventThreadStart(jvmtiEnv*, JNIEnv*, jthread);
AGENT_API void JNICALL cb_jvmtiEventThreadEnd(jvmtiEnv*, JNIEnv*, jthread);
AGENT_API void JNICALL cb_jvmtiEventClassPrepare(jvmtiEnv*, JNIEnv*, jthread, jclass);
AGENT_API void JNICALL cb_jvmtiEventClassLoad(jvmtiEnv*, JNIEnv*, jthread, jclass);
AGENT_API void JNICALL cb_jvmtiEventFieldAccess(jvmtiEnv*, JNIEnv*, jthread, jmethodID, jlocation, jclass, jobject,
                                                jfieldID);
AGENT_API void JNICALL cb_jvmtiEventFieldModification(jvmtiEnv*, JNIEnv*, jthread, jmethodID, jlocation, jclass,
                                                      jobject, jfieldID, char, jvalue);
AGENT_API void JNICALL cb_jvmtiEventMethodEntry(jvmtiEnv*, JNIEnv*, jthread, jmethodID);
AGENT_API void JNICALL cb_jvmtiEventMethodExit(jvmtiEnv*, JNIEnv*, jthread, jmethodID, jboolean, jvalue);
AGENT_API void JNICALL cb_jvmtiEventVMInit(jvmtiEnv*, JNIEnv*, jthread);
AGENT_API void JNICALL cb_jvmtiEventVMDeath(jvmtiEnv*, JNIEnv*);
/* These fifteen do nothing. */
AGENT_API void JNICALL cb_jvmtiEventClassFileLoadHook(jvmtiEnv*, JNIEnv*, jclass, jobject, const char*, jobject, jint,
                                                      const unsigned char*, jint*, unsigned char**);
AGENT_API void JNICALL cb_jvmtiEventVMStart(jvmtiEnv*, JNIEnv*);
AGENT_API void JNICALL cb_jvmtiEventNativeMethodBind(jvmtiEnv*, JNIEnv*, jthread, jmethodID, void*, void**);
AGENT_API void JNICALL cb_jvmtiEventCompiledMethodLoad(jvmtiEnv*, jmethodID, jint, const void*, jint,
                                                       const jvmtiAddrLocationMap*, const void*);
AGENT_API void JNICALL cb_jvmtiEventCompiledMethodUnload(jvmtiEnv*, jmethodID, const void*);
AGENT_API void JNICALL cb_jvmtiEventDynamicCodeGenerated(jvmtiEnv*, const char*, const void*, jint);
AGENT_API void JNICALL cb_jvmtiEventDataDumpRequest(jvmtiEnv*);
AGENT_API void JNICALL cb_jvmtiEventMonitorWait(jvmtiEnv*, JNIEnv*, jthread, jobject, jlong);
AGENT_API void JNICALL cb_jvmtiEventMonitorWaited(jvmtiEnv*, JNIEnv*, jthread, jobject, jboolean);
AGENT_API void JNICALL cb_jvmtiEventMonitorContendedEnter(jvmtiEnv*, JNIEnv*, jthread, jobject);
AGENT_API void JNICALL cb_jvmtiEventMonitorContendedEntered(jvmtiEnv*, JNIEnv*, jthread, jobject);
AGENT_API void JNICALL cb_jvmtiEventGarbageCollectionStart(jvmtiEnv*);
AGENT_API void JNICALL cb_jvmtiEventGarbageCollectionFinish(jvmtiEnv*);
AGENT_API void JNICALL cb_jvmtiEventObjectFree(jvmtiEnv*, jlong);
AGENT_API void JNICALL cb_jvmtiEventVMObjectAlloc(jvmtiEnv*, JNIEnv*, jthread, jobject, jclass, jlong);

/* The JVMTI callbacks of the boot phase. */
AGENT_API void JNICALL cbb_jvmtiEventVMInit(jvmtiEnv*, JNIEnv*, jthread);
AGENT_API void JNICALL cbb_jvmtiEventThreadStart(jvmtiEnv*, JNIEnv*, jthread);
AGENT_API void JNICALL cbb_jvmtiEventThreadEnd(jvmtiEnv*, JNIEnv*, jthread);
AGENT_API void JNICALL cbb_jvmtiEventClassPrepare(jvmtiEnv*, JNIEnv*, jthread, jclass);

/* Processing. */

/* 1 if the debugger is to see the event, 0 to drop it. Runs on the raising thread. */
AGENT_API jint filter_jvmdi_event(JNIEnv* env, JVMDI_Event* event);

/* Replaces the references of a queued event by URefs, in place. Agent thread only. An event of a thread without a URef
 * prints its message and aborts. */
AGENT_API void preprocess_jvmdi_references(JNIEnv* env, JVMDI_Event* event);

/* Shows one event at its hook point. `tid` is the raising thread's. Agent thread only. */
AGENT_API void process_jvmdi_event(JNIEnv* env, JVMDI_Event* event, agent_tid_t tid);
AGENT_API void process_jvmpi_event(JNIEnv* env, JVMPI_Event* event, agent_tid_t tid);

/* Releases what was handed out (not during an invocation) and resumes the Java threads; the result of agent_resume_all. */
AGENT_API jint resume_after_event(JNIEnv* env);

/* The hook points: empty functions, called on the agent thread with its JNIEnv and the event record. All other Java threads
 * are suspended meanwhile, except at hook_method_entry and hook_thread_stop. hook_class is called by nothing. */
AGENT_API void hook_step(JNIEnv* env, JVMDI_Event* event);
AGENT_API void hook_bpt(JNIEnv* env, JVMDI_Event* event);
AGENT_API void hook_frame_pop(JNIEnv* env, JVMDI_Event* event);
AGENT_API void hook_exception_thrown(JNIEnv* env, JVMDI_Event* event);
AGENT_API void hook_exception_caught(JNIEnv* env, JVMDI_Event* event);
AGENT_API void hook_thread_start(JNIEnv* env, JVMDI_Event* event);
AGENT_API void hook_thread_stop(JNIEnv* env, JVMDI_Event* event);
AGENT_API void hook_class(JNIEnv* env, JVMDI_Event* event);
AGENT_API void hook_class_prepare(JNIEnv* env, JVMDI_Event* event);
AGENT_API void hook_class_unload(JNIEnv* env, JVMDI_Event* event);
AGENT_API void hook_access(JNIEnv* env, JVMDI_Event* event);
AGENT_API void hook_access_write(JNIEnv* env, JVMDI_Event* event);
AGENT_API void hook_method_entry(JNIEnv* env, JVMDI_Event* event);
AGENT_API void hook_invoke_method(JNIEnv* env, JVMDI_Event* event);
AGENT_API void hook_controlc(JNIEnv* env, JVMDI_Event* event);

#endif
