#include "vm/vm_newer.h"

#include "vm/vm_interface.h"

/* More than a long stop's questions usually make; what goes beyond works too, but -Xcheck:jni remarks on it. */
enum { LOCAL_FRAME_CAPACITY = 1024 };

bool vm_is_newer() {
    /* an interface type of 3 bits, 12 bits of major and 8 of minor version, 8 of micro version */
    return jvmti && jvmti_version_set && ((uint32_t)jvmti_version >> 8 & 0xfffff) > 0x0100;
}

jobject vm_durable(JNIEnv* env, jobject returned) {
    if (!returned || !vm_is_newer()) return returned;
    const jobject global = env->NewGlobalRef(returned);
    env->DeleteLocalRef(returned);
    return global;
}

/* Without the memory for a promise of capacity the work goes on all the same: HotSpot grows its frames as needed. */
static bool promised(JNIEnv* env, jint err) {
    if (err) env->ExceptionClear();
    return !err;
}

void vm_expect_local_references(JNIEnv* env, jint count) {
    if (vm_is_newer()) promised(env, env->EnsureLocalCapacity(LOCAL_FRAME_CAPACITY + count));
}

vm_local_frame::vm_local_frame(JNIEnv* env) : framed(NULL) {
    if (!vm_is_newer()) return;
    if (promised(env, env->PushLocalFrame(LOCAL_FRAME_CAPACITY))) framed = env;
}

vm_local_frame::~vm_local_frame() {
    if (framed) framed->PopLocalFrame(NULL);
}
