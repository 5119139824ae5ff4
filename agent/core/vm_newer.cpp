#include "vm/vm_newer.h"

enum { LOCAL_FRAME_CAPACITY = 64 };

jobject vm_durable(JNIEnv* env, jobject returned) {
    if (!returned || !vm_is_newer()) return returned;
    const jobject global = env->NewGlobalRef(returned);
    env->DeleteLocalRef(returned);
    return global;
}

vm_local_frame::vm_local_frame(JNIEnv* env) : framed(NULL) {
    if (!vm_is_newer()) return;
    if (env->PushLocalFrame(LOCAL_FRAME_CAPACITY) == 0)
        framed = env;
    else
        env->ExceptionClear(); /* no memory for a frame: the work goes on without one */
}

vm_local_frame::~vm_local_frame() {
    if (framed) framed->PopLocalFrame(NULL);
}
