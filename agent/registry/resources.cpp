#include "registry/resources.h"

#include "registry/agent_uref.h"
#include "vm/vm_memory.h"
#include "vm/vm_newer.h"

enum { BLOCK_RECORDS = 20 };

static_assert(sizeof(void*) != 4 || BLOCK_RECORDS * sizeof(resource_record) == 320, "four words a record");

resource_record* reslist;
static resource_record* free_reslist;

jint reslist_init() {
    reslist = free_reslist = NULL;
    return 0;
}

static jint allocate_records() {
    resource_record* block;
    if (jint err = allocate_or_report(BLOCK_RECORDS * sizeof *block, &block)) return err;
    for (int i = 0; i < BLOCK_RECORDS; i++) block[i] = {i + 1 < BLOCK_RECORDS ? &block[i + 1] : NULL, NULL, NULL, NULL};
    free_reslist = block;
    return 0;
}

void add_resource(JNIEnv*, jobject reference, release_function release, const char* description) {
    if (!reference) return;
    if (!free_reslist && allocate_records()) return;
    resource_record* record = free_reslist;
    free_reslist = record->next;
    *record = {reslist, reference, release, description};
    reslist = record;
}

void free_resources(JNIEnv* env) {
    while (resource_record* record = reslist) {
        record->release(env, record->reference);
        reslist = record->next;
        record->reference = NULL;
        record->release = NULL;
        record->next = free_reslist;
        free_reslist = record;
    }
}

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

/* While the Java threads run, as in the boot phase, they use the table too. */
void freeURef(JNIEnv* env, jobject ref) {
    if (vm_is_newer())
        URef_delete(env, ref);
    else
        URef_delete_nolock(env, ref, hashf(ref));
}
