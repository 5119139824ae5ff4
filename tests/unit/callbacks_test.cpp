/* The JVMTI callbacks: the record that each hands on. This program defines the hooks of intake.cpp and boot.cpp, so that
 * the archive's stay out and the callbacks call the functions here.
 */
#include "java_threads/boot.h"
#include "java_threads/callbacks.h"
#include "java_threads/intake.h"

#include <gtest/gtest.h>

#include <string.h>
#include <vector>

struct Handed {
    const char* to;
    JNIEnv* env;
    JVMDI_Event event;
    agent_tid_t tid;
};
static std::vector<Handed> handed;

void JNICALL jvmdi_event_hook(JNIEnv* env, JVMDI_Event* event) { handed.push_back({"jvmdi", env, *event, 0}); }
void jvmti_event_hook(JNIEnv* env, JVMDI_Event* event, agent_tid_t tid) {
    handed.push_back({"jvmti", env, *event, tid});
}
void JNICALL boot_event_hook(JNIEnv* env, JVMDI_Event* event) { handed.push_back({"boot", env, *event, 0}); }
void jvmpi_event_hook(JVMPI_Event*) { handed.push_back({"jvmpi", nullptr, {}, 0}); }

/* Arguments that can be told apart in a record. */
static jvmtiEnv* const vm = (jvmtiEnv*)0x900;
static JNIEnv* const env = (JNIEnv*)0x901;
static const jthread thread = (jthread)0x101;
static const jclass clazz = (jclass)0x202;
static const jmethodID method = (jmethodID)0x303;
static const jlocation place = 0x1122334455667788;
static const jobject exception = (jobject)0x404;
static const jmethodID catch_method = (jmethodID)0x505;
static const jlocation catch_place = 0x0a0b0c0d0e0f1011;
static const jclass field_clazz = (jclass)0x606;
static const jobject object = (jobject)0x707;
static const jfieldID field = (jfieldID)0x808;

static jvalue new_value() {
    jvalue value;
    value.j = 0x0123456789abcdef;
    return value;
}

struct Case {
    const char* name;
    void (*call)();
    std::vector<uint32_t> words; /* of the record on 32 bits; the rest are 0 */
};

static const Case full[] = {
    {"SingleStep",
     [] { cb_jvmtiEventSingleStep(vm, env, thread, method, place); },
     {1, 0x101, 0, 0x303, 0x55667788, 0x11223344}},
    {"Breakpoint",
     [] { cb_jvmtiEventBreakpoint(vm, env, thread, method, place); },
     {2, 0x101, 0, 0x303, 0x55667788, 0x11223344}},
    {"FramePop", [] { cb_jvmtiEventFramePop(vm, env, thread, method, JNI_TRUE); }, {3, 0x101, 0, 0x303}},
    {"Exception",
     [] { cb_jvmtiEventException(vm, env, thread, method, place, exception, catch_method, catch_place); },
     {4, 0x101, 0, 0x303, 0x55667788, 0x11223344, 0x404, 0, 0x505, 0x0e0f1011, 0x0a0b0c0d}},
    {"ThreadStart", [] { cb_jvmtiEventThreadStart(vm, env, thread); }, {6, 0x101}},
    {"ThreadEnd", [] { cb_jvmtiEventThreadEnd(vm, env, thread); }, {7, 0x101}},
    {"ClassPrepare", [] { cb_jvmtiEventClassPrepare(vm, env, thread, clazz); }, {8, 0x101, 0x202}},
    {"ClassLoad", [] { cb_jvmtiEventClassLoad(vm, env, thread, clazz); }, {10, 0x101, 0x202}},
    {"FieldAccess",
     [] { cb_jvmtiEventFieldAccess(vm, env, thread, method, place, field_clazz, object, field); },
     {20, 0x101, 0, 0x303, 0x55667788, 0x11223344, 0x606, 0x707, 0x808}},
    {"FieldModification",
     [] {
         cb_jvmtiEventFieldModification(vm, env, thread, method, place, field_clazz, object, field, 'J', new_value());
     },
     {21, 0x101, 0, 0x303, 0x55667788, 0x11223344, 0x606, 0x707, 0x808, 'J', 0x89abcdef, 0x01234567}},
    {"ExceptionCatch",
     [] { cb_jvmtiEventExceptionCatch(vm, env, thread, method, place, exception); },
     {30, 0x101, 0, 0x303, 0x55667788, 0x11223344, 0x404}},
    {"MethodEntry", [] { cb_jvmtiEventMethodEntry(vm, env, thread, method); }, {40, 0x101, 0, 0x303}},
    {"MethodExit",
     [] { cb_jvmtiEventMethodExit(vm, env, thread, method, JNI_TRUE, new_value()); },
     {41, 0x101, 0, 0x303}},
    {"VMInit", [] { cb_jvmtiEventVMInit(vm, env, thread); }, {90}},
    {"VMDeath", [] { cb_jvmtiEventVMDeath(vm, env); }, {99}},
};

static const Case boot[] = {
    {"VMInit", [] { cbb_jvmtiEventVMInit(vm, env, thread); }, {90}},
    {"ThreadStart", [] { cbb_jvmtiEventThreadStart(vm, env, thread); }, {6, 0x101}},
    {"ThreadEnd", [] { cbb_jvmtiEventThreadEnd(vm, env, thread); }, {7, 0x101}},
    {"ClassPrepare", [] { cbb_jvmtiEventClassPrepare(vm, env, thread, clazz); }, {8, 0x101, 0x202}},
};

/* Makes stale stack contents differ from zero, so that a record which is not cleared shows. */
static void dirty_the_stack() {
    volatile unsigned char garbage[2048];
    for (size_t i = 0; i < sizeof garbage; i++) garbage[i] = 0xa5;
}

static const Handed& hand(const Case& one) {
    handed.clear();
    dirty_the_stack();
    one.call();
    EXPECT_EQ(1u, handed.size()) << one.name;
    if (handed.empty()) handed.push_back({"nobody", nullptr, {}, 0});
    return handed[0];
}

/* The kind and thread, which stand in the same place on every width, and the words where a word is a pointer. */
static void expect_record(const Case& one, const JVMDI_Event& event) {
    EXPECT_EQ((jint)one.words[0], event.kind) << one.name;
    EXPECT_EQ(one.words.size() > 1 ? thread : nullptr, event.u.thread_change.thread) << one.name;
    if (sizeof(void*) != sizeof(uint32_t)) return;
    std::vector<uint32_t> expected = one.words;
    expected.resize(12);
    std::vector<uint32_t> actual(sizeof event / sizeof(uint32_t));
    memcpy(actual.data(), &event, sizeof event);
    EXPECT_EQ(expected, actual) << one.name;
}

TEST(Callbacks, WriteTheRecordOfTheirKind) {
    for (const Case& one : full) expect_record(one, hand(one).event);
}

TEST(Callbacks, HandTheRecordOnWithTheRaisingThreadsIdAndEnvironment) {
    for (const Case& one : full) {
        const Handed& result = hand(one);
        EXPECT_STREQ("jvmti", result.to) << one.name;
        EXPECT_EQ(env, result.env) << one.name;
        EXPECT_EQ(agent_self(), result.tid) << one.name;
    }
}

TEST(Callbacks, OfTheBootPhaseWriteTheRecordOfTheirKind) {
    for (const Case& one : boot) expect_record(one, hand(one).event);
}

TEST(Callbacks, OfTheBootPhaseGoToTheBootHook) {
    for (const Case& one : boot) {
        const Handed& result = hand(one);
        EXPECT_STREQ("boot", result.to) << one.name;
        EXPECT_EQ(env, result.env) << one.name;
    }
}

TEST(Callbacks, WriteEveryFieldOfAModifiedField) {
    const Case* one = &full[9];
    const auto& record = hand(*one).event.u.field_modification;
    EXPECT_EQ(method, record.method);
    EXPECT_EQ(place, record.location);
    EXPECT_EQ(field_clazz, record.field_clazz);
    EXPECT_EQ(object, record.object);
    EXPECT_EQ(field, record.field);
    EXPECT_EQ('J', record.signature_type);
    EXPECT_EQ(new_value().j, record.new_value.j);
}

TEST(Callbacks, WriteWhereAnExceptionIsThrownAndCaught) {
    const auto& record = hand(full[3]).event.u.exception;
    EXPECT_EQ(method, record.method);
    EXPECT_EQ(place, record.location);
    EXPECT_EQ(exception, record.exception);
    EXPECT_EQ(nullptr, record.catch_clazz);
    EXPECT_EQ(catch_method, record.catch_method);
    EXPECT_EQ(catch_place, record.catch_location);
}

TEST(Callbacks, OfTheOtherFifteenEventsDoNothing) {
    handed.clear();
    cb_jvmtiEventClassFileLoadHook(vm, env, clazz, object, "Foo", object, 0, nullptr, nullptr, nullptr);
    cb_jvmtiEventVMStart(vm, env);
    cb_jvmtiEventNativeMethodBind(vm, env, thread, method, nullptr, nullptr);
    cb_jvmtiEventCompiledMethodLoad(vm, method, 0, nullptr, 0, nullptr, nullptr);
    cb_jvmtiEventCompiledMethodUnload(vm, method, nullptr);
    cb_jvmtiEventDynamicCodeGenerated(vm, "stub", nullptr, 0);
    cb_jvmtiEventDataDumpRequest(vm);
    cb_jvmtiEventMonitorWait(vm, env, thread, object, 1);
    cb_jvmtiEventMonitorWaited(vm, env, thread, object, JNI_TRUE);
    cb_jvmtiEventMonitorContendedEnter(vm, env, thread, object);
    cb_jvmtiEventMonitorContendedEntered(vm, env, thread, object);
    cb_jvmtiEventGarbageCollectionStart(vm);
    cb_jvmtiEventGarbageCollectionFinish(vm);
    cb_jvmtiEventObjectFree(vm, 1);
    cb_jvmtiEventVMObjectAlloc(vm, env, thread, object, clazz, 16);
    EXPECT_EQ(0u, handed.size());
}
