#include "load/load.h"

#include "agent_thread/consumer.h"
#include "agent_thread/processing.h"
#include "invoke/requests.h"
#include "load/boot_hooks.h"
#include "load/capabilities.h"
#include "load/handshake.h"
#include "registry/agent_uref.h"
#include "registry/prep_list.h"
#include "registry/resources.h"
#include "support/log_agent.h"
#include "support/report.h"
#include "vm/vm_interface.h"

#include <stdlib.h>

static const char LOG_SOURCE[] = "agent_main.c";

/* The first steps of both entry points: log, options, handshake. */
static void begin_load(JavaVM* vm, char* options) {
    _log_link(_log_map_agent);
    log_enable_from_own_file("C.agent");
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

/* The last steps of both entry points: registries, queues, the boot phase's event hooks. */
static jint finish_load() {
    URef_init();
    PrepList_init(&prep_list);
    if (jint err = event_queue_init()) agent_fatal_error("JVM_OnLoad(): event_queue_init() failed -- %s\n", err);
    if (jint err = reslist_init()) agent_fatal_error("JVM_OnLoad(): reslist_init() failed -- %s\n", err);
    if (jint err = invoke_method_init()) agent_fatal_error("JVM_OnLoad(): invoke_method_init() failed -- %s\n", err);
    install_boot_hooks();
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
