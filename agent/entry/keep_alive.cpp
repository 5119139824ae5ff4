#include "entry/entry_support.h"

jobject keep_alive(JNIEnv* env, jobject local, const char* label) {
    if (!local) return NULL;
    jobject global = env->NewGlobalRef(local);
    add_resource(env, global, freeRef, label);
    jint created = 0;
    jobject uref = URef_from_global(env, global, &created);
    /* Registered after the reference, so released before it: the table must not be left with a deleted reference. */
    if (created) add_resource(env, uref, freeURef, "keep_alive uref");
    return uref;
}

void freeRef(JNIEnv* env, jobject ref) { env->DeleteGlobalRef(ref); }

void freeURef(JNIEnv* env, jobject ref) { URef_delete_nolock(env, ref, hashf(ref)); }
