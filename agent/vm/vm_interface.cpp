#include "vm/vm_interface.h"

JavaVM* javavm;
jvmtiEnv* jvmti;
JVMDI_Interface_1* jvmdi;
JVMPI_Interface* jvmpi;
jvmtiCapabilities jvmti_features;
JVMDI_capabilities jvmdi_features;
jint vm_init_done;
jint jvmti_version;
unsigned char jvmti_version_set;
jint jvmdi_version;
unsigned char jvmdi_version_set;

static JVMDI_Interface_1* jvmdi_interface; /* what vm_jvmdi has fetched; the same for every thread */

static jint fetch_jvmdi(JNIEnv* env) {
    JavaVM* vm;
    if (jint err = env->GetJavaVM(&vm)) return err;
    void* found = NULL;
    if (jint err = vm->GetEnv(&found, JVMDI_VERSION_1)) return err;
    shared_store(jvmdi_interface, (JVMDI_Interface_1*)found);
    return 0;
}

jint vm_jvmdi(JNIEnv* env, JVMDI_Interface_1** table) {
    if (env && !shared_load(jvmdi_interface))
        if (jint err = fetch_jvmdi(env)) return err;
    *table = env ? shared_load(jvmdi_interface) : vm_known_jvmdi();
    return 0;
}

JVMDI_Interface_1* vm_known_jvmdi() { return jvmdi ? jvmdi : shared_load(jvmdi_interface); }

void set_jvmti_events(jvmtiEventMode mode, std::initializer_list<jint> events) {
    for (jint event : events) jvmti->SetEventNotificationMode(mode, (jvmtiEvent)event, NULL);
}

void set_jvmdi_events(jint mode, std::initializer_list<jint> events) {
    for (jint event : events) jvmdi->SetEventNotificationMode(mode, event, (jthread)NULL);
}

jint jvmdiVersion() {
    if (!jvmdi_version_set) {
        jvmdi->GetVersionNumber(&jvmdi_version);
        jvmdi_version_set = 1;
    }
    return jvmdi_version;
}

void patch_capabilities(JVMDI_capabilities* capabilities) {
    const jint version = jvmdiVersion();
    if (version >= 0x20010000 && version <= 0x20010002) capabilities->can_suspend_resume_thread_lists = 0;
}
