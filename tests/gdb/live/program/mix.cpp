/* The native side of the test program Mix. Compiled without optimisation, so that gdb shows every argument. */
#include <jni.h>

#include <cstdlib>
#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

/* The debugger sets it to 1 when it is ready. */
extern "C" {
extern volatile int mix_go_on;
volatile int mix_go_on = 0;

extern pthread_mutex_t ledger;
pthread_mutex_t ledger = PTHREAD_MUTEX_INITIALIZER;
}

namespace {

enum End {
    quiet,
    show_and_crash,
    show_and_wait,
    wait,
    fault_in_libjvm,
    bus_error,
    stack_overflow,
    crash,
    aborted,
    until_told,
    announce_until_told
};

volatile int sink;

void crash_at(int* p) { *p = 1; }

int callback(JNIEnv* env, jobject step, jint depth) {
    jclass type = env->GetObjectClass(step);
    jmethodID take = env->GetMethodID(type, "take", "(I)I");
    jint result = env->CallIntMethod(step, take, depth);
    env->DeleteLocalRef(type);
    return result;
}

void show(JNIEnv* env) {
    jclass mix = env->FindClass("Mix");
    env->CallStaticVoidMethod(mix, env->GetStaticMethodID(mix, "show", "()V"));
}

void announce(JNIEnv* env) {
    jclass mix = env->FindClass("Mix");
    env->CallStaticVoidMethod(mix, env->GetStaticMethodID(mix, "announce", "()V"));
}

/* A page of a file that is not there any more. */
void touch_truncated_file() {
    char name[] = "/tmp/mixXXXXXX";
    int file = mkstemp(name);
    unlink(name);
    if (ftruncate(file, 4096) != 0) return;
    auto* page = static_cast<volatile int*>(mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0));
    if (ftruncate(file, 0) != 0) return;
    sink = *page;
}

int overflow(int depth) {
    volatile char room[4000];
    if (depth < 0) return 0; // never
    room[0] = static_cast<char>(depth);
    return overflow(depth + 1) + room[0];
}

void wait_until_told() {
    while (!mix_go_on) usleep(10000);
}

void reach(JNIEnv* env, jint end) {
    switch (end) {
    case show_and_crash:
        show(env);
        crash_at(nullptr);
        break;
    case show_and_wait:
        show(env);
        for (;;) pause();
    case wait:
        announce(env);
        for (;;) pause();
    case fault_in_libjvm: env->GetObjectClass(reinterpret_cast<jobject>(0x60)); break;
    case bus_error: touch_truncated_file(); break;
    case stack_overflow: sink = overflow(0); break;
    case crash: crash_at(nullptr); break;
    case aborted: abort(); break;
    case until_told: wait_until_told(); break;
    case announce_until_told:
        announce(env);
        wait_until_told();
        break;
    default: break;
    }
}

jint JNICALL registered_by_name_only(JNIEnv* env, jclass, jobject step, jint depth) {
    return callback(env, step, depth);
}

} // namespace

extern "C" {

JNIEXPORT void JNICALL Java_Descent_register(JNIEnv* env, jclass self) {
    char name[] = "registered", signature[] = "(LDescent$Step;I)I";
    JNINativeMethod method = {name, signature, reinterpret_cast<void*>(registered_by_name_only)};
    env->RegisterNatives(self, &method, 1);
}

JNIEXPORT jint JNICALL Java_Descent_through(JNIEnv* env, jclass, jobject step, jint depth) {
    return callback(env, step, depth);
}

JNIEXPORT jint JNICALL Java_Descent_bottom(JNIEnv* env, jclass, jint end) {
    reach(env, end);
    return end;
}

JNIEXPORT void JNICALL Java_Descent_sleep(JNIEnv*, jclass) {
    for (;;) pause();
}

JNIEXPORT void JNICALL Java_Deadlock_lockLedger(JNIEnv*, jclass) { pthread_mutex_lock(&ledger); }

JNIEXPORT jboolean JNICALL Java_Deadlock_isLedgerWanted(JNIEnv*, jclass) {
    const int contended = 2; // as the C library marks a mutex that somebody waits for
    return *reinterpret_cast<volatile int*>(&ledger) == contended;
}
}
