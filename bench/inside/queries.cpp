/* Questions to the agent at a stop, through the entry points that a debugger calls, on the agent thread. */
#include "entry/agent_entry.h"
#include "inside.h"

#include <cstdio>
#include <functional>
#include <string>
#include <time.h>
#include <vector>

struct answer {
    std::string name;
    double nanoseconds; /* each */
};

static jobjectArray items;
static jint times;
static std::vector<answer>* answers;
static hook_replacement* at_breakpoint;

static double seconds() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (double)now.tv_sec + (double)now.tv_nsec / 1e9;
}

/* Asks `times` questions of one kind; the function gets each one's number. */
static void measure(const char* name, const std::function<void(jint)>& ask) {
    const double begin = seconds();
    for (jint i = 0; i < times; i++) ask(i);
    answers->push_back({name, (seconds() - begin) * 1e9 / times});
}

#define ENTRY(name) static auto* const name##_entry = entry_point<decltype(name)>(#name)

static void ask_about_threads(JNIEnv* env) {
    ENTRY(agent_get_threads);
    ENTRY(agent_get_threadinfo);
    ENTRY(agent_get_framecount);
    ENTRY(agent_get_currentframe);
    ENTRY(agent_get_owned_monitorinfo);
    jint count = 0;
    jthread* list = nullptr;
    must(agent_get_threads_entry(env, &count, &list), "agent_get_threads");
    const std::vector<jthread> threads(list, list + count);
    const auto thread = [&](jint i) { return threads[(size_t)(i % count)]; };
    measure("threadinfo", [&](jint i) {
        JVMDI_thread_info info;
        agent_tid_t tid;
        jint status, suspended;
        must(agent_get_threadinfo_entry(env, thread(i), &info, &tid, &status, &suspended), "agent_get_threadinfo");
    });
    measure("framecount", [&](jint i) {
        jint frames;
        agent_get_framecount_entry(env, thread(i), &frames); /* the VM's own threads have none to count */
    });
    measure("currentframe", [&](jint i) {
        jframeID frame;
        jclass clazz;
        jmethodID method;
        jlocation location;
        agent_get_currentframe_entry(env, thread(i), &frame, &clazz, &method, &location); /* the same */
    });
    measure("owned_monitorinfo", [&](jint i) {
        JVMDI_owned_monitor_info info;
        must(agent_get_owned_monitorinfo_entry(env, thread(i), &info), "agent_get_owned_monitorinfo");
    });
}

static void ask_about_objects(JNIEnv* env) {
    ENTRY(agent_get_objarray_element);
    ENTRY(agent_get_objectclass);
    ENTRY(agent_get_field_int);
    ENTRY(agent_get_field_object);
    ENTRY(agent_get_stringvalue);
    const jint count = env->GetArrayLength(items);
    std::vector<jobject> handles((size_t)count);
    const auto handle = [&](jint i) { return handles[(size_t)(i % count)]; };
    const jclass clazz = env->GetObjectClass(env->GetObjectArrayElement(items, 0));
    const jfieldID number = env->GetFieldID(clazz, "number", "I");
    const jfieldID text = env->GetFieldID(clazz, "text", "Ljava/lang/String;");
    jobject string = nullptr;
    measure("objarray_element.new",
            [&](jint i) { handles[(size_t)(i % count)] = agent_get_objarray_element_entry(env, items, i % count); });
    measure("objarray_element.known", [&](jint i) { agent_get_objarray_element_entry(env, items, i % count); });
    measure("objectclass", [&](jint i) {
        jclass found;
        must(agent_get_objectclass_entry(env, handle(i), &found), "agent_get_objectclass");
    });
    measure("field_int", [&](jint i) {
        if (agent_get_field_int_entry(env, handle(i), number) != 1) must(1, "agent_get_field_int");
    });
    measure("field_object", [&](jint i) { string = agent_get_field_object_entry(env, handle(i), text); });
    measure("stringvalue", [&](jint) {
        jint length;
        const char* characters;
        agent_get_stringvalue_entry(env, (jstring)string, &length, &characters);
    });
}

static void ask_about_methods(JNIEnv* env) {
    ENTRY(agent_get_class);
    ENTRY(agent_get_classmethods);
    ENTRY(agent_get_linenumbertable);
    class_info info;
    measure("class", [&](jint) { must(agent_get_class_entry(env, "Queries", &info), "agent_get_class"); });
    jint count;
    method_entry* methods;
    measure("classmethods", [&](jint) {
        must(agent_get_classmethods_entry(env, info.clazz, nullptr, &count, &methods), "agent_get_classmethods");
    });
    const jmethodID method = methods[0].method;
    measure("linenumbertable", [&](jint) {
        JVMDI_line_number_entry* lines;
        must(agent_get_linenumbertable_entry(env, info.clazz, method, &count, &lines), "agent_get_linenumbertable");
    });
}

/* In the place of hook_bpt. */
static void ask_all(JNIEnv* env, JVMDI_Event*) {
    ask_about_threads(env);
    ask_about_objects(env);
    ask_about_methods(env);
}

extern "C" JNIEXPORT void JNICALL Java_Agent_askAtNextStop(JNIEnv* env, jclass, jobjectArray array, jint count) {
    items = (jobjectArray)env->NewGlobalRef(array);
    times = count;
    answers = new std::vector<answer>;
    at_breakpoint = new hook_replacement("hook_bpt", (void*)ask_all);
}

extern "C" JNIEXPORT void JNICALL Java_Agent_printAnswers(JNIEnv*, jclass) {
    delete at_breakpoint;
    for (const answer& each : *answers) printf("%s=%.0f\n", each.name.c_str(), each.nanoseconds);
    fflush(stdout);
}
