/* What holds of every entry point: a null environment is the calling thread's own, without which the process ends; and on JVMDI
 * a function table that cannot be had gives the code of who refuses it. */
#include "entry_fixture.h"
#include "kept_blocks.h"
#include "sanitizer/both_lock_orders.h"

#include "entry/agent_entry.h"
#include "entry/jni_types.h"
#include "load/boot_hooks.h"
#include "stop/suspend.h"
#include "support/agent_self.h"

#include <functional>
#include <map>

struct EntryPoints : EntryTest {
    EntryPoints() {
        jvmti_features.can_get_bytecodes = jvmdi_features.can_get_bytecodes = 1;
        tid_debug_agent = AGENT_TID;
        object["link"] = sim::Value(&object);
        bar.max_locals = 0;
        sim.push_frame(*sim.main_thread, bar, 1);
        sim.push_frame(*sim.main_thread, bar, 2);
        frame = sim.main_thread->frames.front()->id();
        fill();
    }
    ~EntryPoints() override { keep_blocks_reachable(sim); } /* those of the filters that were set last */
    using Call = std::function<jint(JNIEnv*)>;
    std::map<std::string, Call> all;      /* every entry point, by name */
    std::map<std::string, Call> by_table; /* those whose result is the VM's code, given through JVMDI's table */

    void add(const char* name, Call call, bool uses_table = true) {
        all[name] = call;
        if (uses_table) by_table[name] = call;
    }
    void fill();

    sim::Class& foo = sim.new_class("Foo");
    sim::Method& bar = foo.add_method("bar", "()V");
    sim::Field& number = foo.add_field("number", "I");
    sim::Field& link = foo.add_field("link", "LFoo;");
    sim::Object& object = sim.new_object(foo);
    jclass clazz = sim.global<jclass>(&foo);
    jobject reference = sim.global(&object);
    jthread thread = sim.global<jthread>(sim.main_thread);
    jthreadGroup group = sim.global<jthreadGroup>(sim.main_group);
    jframeID frame;
};
SIM_ALL_MODES(EntryPoints);

struct JvmdiEntryPoints : EntryPoints {};
SIM_MODES(JvmdiEntryPoints, sim::Mode::jvmdi);

void EntryPoints::fill() {
    static jint count, more;
    static jlong wide;
    static jfloat single;
    static jdouble twice;
    static void* pointer;
    static jclass found;
    static jmethodID method;
    static jlocation location;
    static agent_tid_t tid;
    static class_info info;
    static JVMDI_thread_info thread_info;
    static JVMDI_thread_group_info group_info;
    static JVMDI_owned_monitor_info owned_info;
    static JVMDI_monitor_info usage;
    static JVMDI_capabilities capabilities;
    const jmethodID id = bar.id();
    const jfieldID field = number.id();
    static const char* text;
#define OUT(type) reinterpret_cast<type*>(&pointer)
#define VM(name, ...) add(#name, [=, this](JNIEnv* env) { return jint(name(env, ##__VA_ARGS__)); })
#define OWN(name, ...) \
    add(               \
        #name, [=, this](JNIEnv* env) { return static_cast<void>(name(env, ##__VA_ARGS__)), 0; }, false)
    OWN(agent_attach_jquor);
    OWN(agent_detach_jquor);
    OWN(agent_suspend_all);
    OWN(agent_resume_all);
    VM(agent_suspendthread, thread);
    VM(agent_resumethread, thread);
    VM(agent_stopthread, thread, reference);
    VM(agent_interruptthread, thread);
    OWN(agent_get_threads, &count, OUT(jthread*));
    VM(agent_get_threadinfo, thread, &thread_info, &tid, &count, &more);
    VM(agent_get_topthreadgroups, &count, OUT(jthreadGroup*));
    VM(agent_get_threadgroupinfo, group, &group_info);
    VM(agent_get_threadgroupchildren, group, &count, OUT(jthread*), &more, OUT(jthreadGroup*));
    VM(agent_get_owned_monitorinfo, thread, &owned_info);
    VM(agent_get_current_contendedmonitor, thread, OUT(jobject));
    VM(agent_get_contended_monitor, thread, OUT(jobject));
    OWN(agent_get_monitorlist, &count, OUT(monitor_entry*));
    VM(agent_get_monitorinfo, reference, &usage);
    VM(agent_get_classinfo, clazz, &info);
    OWN(agent_get_class, "Foo", &info);
    OWN(agent_get_superclass, clazz, &info);
    OWN(agent_get_objectclass, reference, &found);
    OWN(agent_get_classes, &count, OUT(class_info*));
    OWN(agent_get_stringvalue, nullptr, &count, &text);
    OWN(agent_is_instanceof, reference, clazz);
    OWN(agent_get_arraylength, sim.global<jarray>(&sim.new_array('I', 1)));
    VM(agent_get_currentframe, thread, OUT(jframeID), &found, &method, &location);
    VM(agent_get_callerframe, frame, OUT(jframeID), &found, &method, &location, thread, 1);
    VM(agent_get_framecount, thread, &count);
    VM(agent_popframe, thread);
    VM(agent_notifyframepop, frame, thread, 0);
    VM(agent_get_locals, frame, &count, OUT(jint*), thread, 0);
    VM(agent_get_localobject, frame, 0, OUT(jobject), thread, 0);
    VM(agent_get_localint, frame, 0, &count, thread, 0);
    VM(agent_get_locallong, frame, 0, &wide, thread, 0);
    VM(agent_get_localfloat, frame, 0, &single, thread, 0);
    VM(agent_get_localdouble, frame, 0, &twice, thread, 0);
    VM(agent_set_localobject, frame, 0, reference, thread, 0);
    VM(agent_set_localint, frame, 0, 1, thread, 0);
    VM(agent_set_locallong, frame, 0, 1, thread, 0);
    VM(agent_set_localfloat, frame, 0, 1, thread, 0);
    VM(agent_set_localdouble, frame, 0, 1, thread, 0);
    VM(agent_set_breakpoint, clazz, id, 1);
    VM(agent_clear_breakpoint, clazz, id, 1);
    VM(agent_clear_allbreakpoints);
    VM(agent_set_fieldaccesswatch, clazz, field);
    VM(agent_clear_fieldaccesswatch, clazz, field);
    VM(agent_set_fieldmodificationwatch, clazz, field);
    VM(agent_clear_fieldmodificationwatch, clazz, field);
    OWN(agent_set_classload_filter, "Foo");
    OWN(agent_clear_classload_filter, "Foo");
    OWN(agent_set_methodbpt, "bar", "()V");
    OWN(agent_clr_methodbpt, "bar", "()V");
    OWN(agent_set_thrownexception_filter, "Foo");
    OWN(agent_clear_thrownexception_filter, "Foo");
    OWN(agent_set_uncaughtexception_filter, 1, 2);
    OWN(agent_clear_uncaughtexception_filter, 1, 2);
    VM(agent_set_eventnotification, 1, JVMDI_EVENT_SINGLE_STEP, nullptr);
    VM(agent_get_sourcefilename, clazz, OUT(char*));
    VM(agent_get_classmethods, clazz, nullptr, &count, OUT(method_entry*));
    VM(agent_get_classfields, clazz, &count, OUT(jfieldID*));
    VM(agent_get_fieldname, clazz, field, OUT(char*), OUT(char*), &more);
    VM(agent_get_implementedinterfaces, clazz, &count, OUT(jclass*));
    VM(agent_get_linenumbertable, clazz, id, &count, OUT(JVMDI_line_number_entry*));
    VM(agent_get_localvariabletable, clazz, id, &count, OUT(JVMDI_local_variable_entry*));
    VM(agent_get_exceptionhandlertable, clazz, id, &count, OUT(JVMDI_exception_handler_entry*));
    VM(agent_get_thrownexceptions, clazz, id, &count, OUT(jclass*));
    VM(agent_get_bytecodes, clazz, id, &count, OUT(unsigned char*));
    VM(agent_get_maxstack, clazz, id, &count);
    VM(agent_get_versionnumber, &count);
    VM(agent_get_capabilities, &capabilities);
#define MEMBER(name, Name)                                                                                            \
    {                                                                                                                 \
        static j##name value;                                                                                         \
        static j##name##Array made;                                                                                   \
        const char type[] = {sim::Value(value).type, 0};                                                              \
        const jfieldID own = foo.add_field("f_" #name, type).id(), fixed = foo.add_field("s_" #name, type, 0x9).id(); \
        const auto array = sim.global<j##name##Array>(&sim.new_array(type[0], 3));                                    \
        OWN(agent_get_field_##name, reference, own);                                                                  \
        OWN(agent_set_field_##name, reference, own, 1);                                                               \
        OWN(agent_get_static_field_##name, clazz, fixed);                                                             \
        OWN(agent_set_static_field_##name, clazz, fixed, 1);                                                          \
        OWN(agent_get_##name##array_element, array, 1, &value);                                                       \
        OWN(agent_set_##name##array_element, array, 1, 1);                                                            \
        OWN(agent_new_##name##array, 2, &made);                                                                       \
    }
    JNI_PRIMITIVES(MEMBER)
#undef MEMBER
    const jfieldID fixed = foo.add_field("fixed", "LFoo;", 0x9).id(), own = link.id();
    const auto array = sim.global<jobjectArray>(&sim.new_object_array(foo, 2));
    OWN(agent_get_field_object, reference, own);
    OWN(agent_set_field_object, reference, own, reference);
    OWN(agent_get_static_field_object, clazz, fixed);
    OWN(agent_set_static_field_object, clazz, fixed, reference);
    OWN(agent_get_objarray_element, array, 1);
    OWN(agent_set_objarray_element, array, 1, reference);
    OWN(agent_new_objectarray, 2, clazz, reference);
#undef VM
#undef OWN
#undef OUT
}

TEST_P(EntryPoints, NullEnvironmentIsTheCallersOwn) {
    EXPECT_LT(130u, all.size());
    for (const auto& [name, call] : all) {
        SCOPED_TRACE(name);
        if (name == "agent_get_stringvalue") continue; /* below: it needs a string */
        sim.clear_calls();
        sim::capture_stdout([&, &each = call] { each(nullptr); });
        EXPECT_LE(1u, sim.calls_of({"JavaVM.GetEnv"}).size());
        EXPECT_EQ("JavaVM.GetEnv(0x10002)", sim.calls_of({"JavaVM.GetEnv"}).at(0));
        EXPECT_EQ("JavaVM.GetEnv(0x10002)", sim.calls().at(0)) << "before anything else";
    }
    const jstring string = sim.global<jstring>(&sim.new_string("text"));
    const char* text;
    jint length;
    sim.clear_calls();
    EXPECT_EQ(0, agent_get_stringvalue(nullptr, string, &length, &text));
    EXPECT_EQ("JavaVM.GetEnv(0x10002)", sim.calls().at(0));
}

TEST_P(EntryPoints, CallerThatTheVmDoesNotKnowEndsTheProcess) {
    for (const auto& [name, call] : all) {
        SCOPED_TRACE(name);
        sim.set_getenv(JNI_VERSION_1_2, JNI_EDETACHED);
        const sim::ChildResult result = run_in_child([&, &each = call] {
            each(nullptr);
            printf("went on\n");
        });
        EXPECT_EQ(SIGABRT, result.signal);
        EXPECT_EQ("", result.out);
    }
}

TEST_P(JvmdiEntryPoints, RefusedTableGivesTheCodeOfTheRefusal) {
    EXPECT_LT(45u, by_table.size());
    for (const auto& [name, call] : by_table) {
        SCOPED_TRACE(name);
        const sim::ChildResult result = run_in_child([&, &each = call] {
            ::jvmdi = nullptr; /* loading found none, so that the table is asked for at the first need */
            sim.set_getenv(JVMDI_VERSION_1, JNI_EVERSION);
            sim.clear_calls();
            EXPECT_EQ(JNI_EVERSION, each(sim.env()));
            EXPECT_EQ(0u, sim.count_calls("JVMDI.*"));
        });
        EXPECT_EQ(0, result.exit_status);
    }
}
