/* The native side of the service: prices, and a ledger that a mutex guards. */
#include <jni.h>
#include <pthread.h>
#include <unistd.h>

pthread_mutex_t ledger = PTHREAD_MUTEX_INITIALIZER;
static long booked;

static jint amount_of(JNIEnv* env, jobject order) {
    jclass type = (*env)->GetObjectClass(env, order);
    return (*env)->GetIntField(env, order, (*env)->GetFieldID(env, type, "amount", "I"));
}

JNIEXPORT jint JNICALL Java_Service_price(JNIEnv* env, jclass type, jobject order, jint each) {
    const jint amount = amount_of(env, order);
    const jint total = amount * each;
    (void)type;
    pthread_mutex_lock(&ledger);
    booked += total;
    pthread_mutex_unlock(&ledger);
    return total;
}

JNIEXPORT void JNICALL Java_Service_book(JNIEnv* env, jclass type, jobject shelf) {
    (void)type;
    pthread_mutex_lock(&ledger);
    usleep(600000);
    (*env)->MonitorEnter(env, shelf);
    booked = 0;
    (*env)->MonitorExit(env, shelf);
    pthread_mutex_unlock(&ledger);
}

static void write_report(long* report) { *report = booked; }

JNIEXPORT void JNICALL Java_Service_audit(JNIEnv* env, jclass type) {
    (void)env;
    (void)type;
    write_report(0);
}
