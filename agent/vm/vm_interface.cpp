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
