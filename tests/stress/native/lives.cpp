/* Churn.nativeLives: threads that native code starts, attaches to the VM, lets live once, detaches and ends. */
#include <atomic>
#include <chrono>
#include <jni.h>
#include <thread>
#include <vector>

static JavaVM* vm;
static jclass churn;
static jmethodID life;

static void one_life() {
    JNIEnv* env = nullptr;
    if (vm->AttachCurrentThread((void**)&env, nullptr) != JNI_OK) return;
    env->CallStaticVoidMethod(churn, life);
    if (env->ExceptionCheck()) env->ExceptionDescribe();
    vm->DetachCurrentThread();
}

extern "C" JNIEXPORT jlong JNICALL Java_Churn_nativeLives(JNIEnv* env, jclass clazz, jint count, jlong milliseconds) {
    env->GetJavaVM(&vm);
    churn = (jclass)env->NewGlobalRef(clazz);
    life = env->GetStaticMethodID(clazz, "life", "()V");
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
    std::atomic<jlong> lives{0};
    std::vector<std::thread> places; /* each holds one thread at a time */
    for (jint i = 0; i < count; i++)
        places.emplace_back([&] {
            while (std::chrono::steady_clock::now() < end) {
                std::thread(one_life).join();
                lives++;
            }
        });
    for (std::thread& place : places) place.join();
    return lives;
}
