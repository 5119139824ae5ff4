#include "core/agent_main.h"

#include "core/core_state.h"
#include "event/agent_event.h"
#include "invoke/agent_call.h"
#include "registry/agent_uref.h"
#include "support/err_str.h"
#include "support/log_agent.h"
#include "support/report.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

static const char LOG_SOURCE[] = "agent_main.c";

jint attached;
JavaVM* javavm;
jvmtiEnv* jvmti;
JVMDI_Interface_1* jvmdi;
JVMPI_Interface* jvmpi;
jint terminate_debug_agent;

enum { NOTIFY_SIGNAL = 16, POLLS = 1000, POLL_MICROSECONDS = 5000, TESTING_POLL_MICROSECONDS = 50000 };

/* What the option string asks for. */
struct load_options {
    pid_t sync = 0;    /* the debugger's process; 0: no handshake */
    char* fifo = NULL; /* where the debugger answers              */
};

/* System V's sigsend for one process (id type P_PID), on a system that has kill. Ids that kill would take for a group of
 * processes name none. */
static int sigsend(pid_t pid, int signal_number) { return pid > 0 ? kill(pid, signal_number) : -1; }

/* Cuts `text` at the first `separator`; gives what follows it, or null. */
static char* cut_at(char* text, char separator) {
    char* end = strchr(text, separator);
    if (!end) return NULL;
    *end = '\0';
    return end + 1;
}

static load_options parse_options(char* rest) {
    load_options parsed;
    while (rest && *rest) {
        char* name = rest;
        rest = cut_at(name, ',');
        char* value = cut_at(name, '=');
        if (strcmp(name, "sync") == 0)
            parsed.sync = value ? atoi(value) : 0;
        else if (strcmp(name, "fifo") == 0)
            parsed.fifo = value;
        else
            printf("AgentThread: JVM_OnLoad(): unrecognized option '%s'\n", name);
    }
    return parsed;
}

/* Reads the debugger's answer, a 32-bit number, from the FIFO. */
static bool read_answer(const char* path) {
    int32_t answer = 0;
    const int fd = open(path, O_RDONLY);
    if (fd == -1) agent_fatal("AgentThread: JVM_OnLoad(): couldn't open fifo \"%s\" -- %s\n", path, strerror(errno));
    if (read(fd, &answer, sizeof answer) != (ssize_t)sizeof answer)
        agent_fatal("AgentThread: JVM_OnLoad(): fifo read failed -- %s\n", strerror(errno));
    close(fd);
    return answer != 0;
}

/* Waits for the debugger to set `attached` through the process's memory. */
static void poll_attached() {
    AGENT_LOG(LogJVMDI, "AgentThread: JVM_OnLoad(): waiting for debugger to attach\n");
    for (int polls = 0; polls < POLLS && !shared_load(attached); polls++) {
        usleep(POLL_MICROSECONDS);
        printf("uslept ... attached = %d\n", (int)shared_load(attached));
        fflush(stdout);
    }
    if (shared_load(attached) || !getenv("_QUOR_VM_TESTING")) return;
    printf("_QUOR_VM_TESTING on: waiting for attach\n");
    fflush(stdout);
    while (!shared_load(attached)) usleep(TESTING_POLL_MICROSECONDS);
}

static void shake_hands(const load_options& options) {
    shared_store(attached, 0);
    AGENT_LOG(LogJVMDI, "AgentThread: JVM_OnLoad(): Notifying debugger\n");
    if (sigsend(options.sync, NOTIFY_SIGNAL) == -1) agent_fatal("AgentThread: JVM_OnLoad(): sigsend() failed\n");
    if (options.fifo)
        shared_store(attached, read_answer(options.fifo) ? 1 : 0);
    else
        poll_attached();
    if (!shared_load(attached)) agent_fatal("AgentThread: JVM_OnLoad(): debugger not attaching\n");
    AGENT_LOG(LogJVMDI, "AgentThread: JVM_OnLoad(): debugger attached\n");
}

/* The first steps of both entry points: log, options, handshake. */
static void begin_load(JavaVM* vm, char* options) {
    _log_link(_log_map_agent);
    log_enable_from_file("C.agent");
    AGENT_LOG(LogJVMDI, "JVM_OnLoad(): options '%s'\n", (const char*)(options ? options : "None"));
    const load_options parsed = parse_options(options);
    if (parsed.sync) shake_hands(parsed);
    javavm = vm;
    shared_store(terminate_debug_agent, 0);
}

/* GetEnv for one of the interfaces; the pointer is null when it fails. */
template <class T> static jint get_interface(T** interface, jint version) {
    void* found = NULL;
    const jint err = javavm->GetEnv(&found, version);
    *interface = err ? NULL : (T*)found;
    return err;
}

static void check_interface(jint err) {
    if (err) agent_fatal("AgentThread: JVM_OnLoad(): JVM.GetEnv() failed\n");
}

static void record_jvmti_version() {
    jvmti->GetVersionNumber(&jvmti_version);
    jvmti_version_set = 1;
}

static void request_capabilities(const char* caller) {
    enable_jvmticapabilities(&jvmti_features, caller);
    if (log_is_on(LogJVMDI)) check_jvmtifeatures(jvmti_features);
}

static void get_jvmdi_capabilities() {
    jvmdi->GetVersionNumber(&jvmdi_version);
    jvmdi_version_set = 1;
    const jint err = jvmdi->GetCapabilities(&jvmdi_features);
    patch_capabilities(&jvmdi_features);
    if (log_is_on(LogJVMDI)) check_features(jvmdi_features);
    /* reported only now: what the VM left in the word has been shown */
    if (err) agent_fatal_error("AgentThread:JVM_OnLoad():JVMDI_GetCapabilities() failed %s\n", err);
}

void set_jvmti_events(jvmtiEventMode mode, std::initializer_list<jint> events) {
    for (jint event : events) jvmti->SetEventNotificationMode(mode, (jvmtiEvent)event, NULL);
}

void set_jvmdi_events(jint mode, std::initializer_list<jint> events) {
    for (jint event : events) jvmdi->SetEventNotificationMode(mode, event, (jthread)NULL);
}

static void install_jvmdi_boot_hook() {
    set_jvmdi_events(JVMDI_DISABLE, {JVMDI_EVENT_EXCEPTION, JVMDI_EVENT_EXCEPTION_CATCH, JVMDI_EVENT_CLASS_PREPARE,
                                     JVMDI_EVENT_CLASS_LOAD, JVMDI_EVENT_CLASS_UNLOAD});
    if (log_is_on(LogJVMDImethod)) set_jvmdi_events(JVMDI_ENABLE, {JVMDI_EVENT_METHOD_ENTRY});
    if (log_is_on(LogJVMDImethod)) set_jvmdi_events(JVMDI_ENABLE, {JVMDI_EVENT_METHOD_EXIT});
    jvmdi->SetEventHook(boot_event_hook);
}

static void install_jvmti_boot_callbacks() {
    jvmtiEventCallbacks callbacks;
    memset(&callbacks, 0, sizeof callbacks);
    callbacks.VMInit = cbb_jvmtiEventVMInit;
    callbacks.ThreadStart = cbb_jvmtiEventThreadStart;
    callbacks.ThreadEnd = cbb_jvmtiEventThreadEnd;
    callbacks.ClassPrepare = cbb_jvmtiEventClassPrepare;
    jvmti->SetEventCallbacks(&callbacks, JVMTI_CALLBACKS_SIZE);
    set_jvmti_events(JVMTI_ENABLE, {JVMTI_EVENT_VM_INIT});
    set_jvmti_events(JVMTI_DISABLE, {JVMTI_EVENT_CLASS_PREPARE});
    set_jvmti_events(JVMTI_ENABLE, {JVMTI_EVENT_THREAD_START, JVMTI_EVENT_THREAD_END});
    if (log_is_on(LogJVMDImethod)) set_jvmti_events(JVMTI_ENABLE, {JVMTI_EVENT_METHOD_ENTRY});
    if (log_is_on(LogJVMDImethod)) set_jvmti_events(JVMTI_ENABLE, {JVMTI_EVENT_METHOD_EXIT});
}

/* The last steps of both entry points: registries, queues, boot hooks. */
static jint finish_load() {
    URef_init();
    PrepList_init(&prep_list);
    if (jint err = event_queue_init()) agent_fatal_error("JVM_OnLoad(): event_queue_init() failed -- %s\n", err);
    if (jint err = reslist_init()) agent_fatal_error("JVM_OnLoad(): reslist_init() failed -- %s\n", err);
    if (jint err = invoke_method_init()) agent_fatal_error("JVM_OnLoad(): invoke_method_init() failed -- %s\n", err);
    if (jvmti)
        install_jvmti_boot_callbacks();
    else
        install_jvmdi_boot_hook();
    return JNI_OK;
}

jint JNICALL JVM_OnLoad(JavaVM* vm, char* options, void*) {
    if (jvmti) return JNI_OK;
    begin_load(vm, options);
    const bool use_jvmdi = getenv("__QUOR_USE_JVMDI") != NULL;
    jint err = use_jvmdi ? JNI_EVERSION : get_interface(&jvmti, JVMTI_VERSION_1_0);
    if (use_jvmdi) jvmti = NULL;
    if (err == JNI_EVERSION) err = get_interface(&jvmdi, JVMDI_VERSION_1);
    check_interface(err);
    jvmpi = NULL;
    if (jvmti) {
        record_jvmti_version();
        if (jint failed = jvmti->GetPotentialCapabilities(&jvmti_features))
            agent_fatal_error("AgentThread:JVM_OnLoad(): JVMTI_GetPotentialCapabilities() failed -- %s\n", failed);
        request_capabilities("JVM_OnLoad");
    } else {
        get_jvmdi_capabilities();
    }
    return finish_load();
}

jint JNICALL Agent_OnLoad(JavaVM* vm, char* options, void*) {
    begin_load(vm, options);
    check_interface(get_interface(&jvmti, JVMTI_VERSION_1_0));
    jvmpi = NULL;
    record_jvmti_version();
    if (jint failed = jvmti->GetCapabilities(&jvmti_features))
        agent_fatal_error("AgentThread:Agent_OnLoad():JVMTI_GetCapabilities() failed %s\n", failed);
    request_capabilities("Agent_OnLoad");
    return finish_load();
}
