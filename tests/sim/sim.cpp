/* sim.cpp: the simulator as a whole, the invocation interface and the JVMPI table. */
#include "sim/internal.h"

#include <cstring>
#include <stdexcept>

namespace sim {

static Sim* the_current;

Sim* Sim::current() { return the_current; }

const char* name_of(Mode mode) {
    switch (mode) {
    case Mode::jvmti10: return "Jvmti10";
    case Mode::jvmti_newer: return "JvmtiNewer";
    default: return "Jvmdi";
    }
}

/* ---- Invocation interface --------------------------------------------------------------------------------------- */

constexpr jint jvmti_version_1_0 = 0x30010000;

static void* interface_for(jint wanted) {
    if (wanted == jvmti_version_1_0) return the_sim().jvmti();
    if (wanted == JVMDI_VERSION_1) return the_sim().jvmdi();
    return the_sim().env();
}

static bool is_jni_version(jint wanted) { return (wanted & 0x7fff0000) == 0x00010000; }

static jint JNICALL get_env(JavaVM*, void** result, jint wanted) {
    Call call("JavaVM.GetEnv", hex(wanted));
    *result = nullptr;
    if (call.failed) return call.code();
    if (is_jni_version(wanted) && !this_native()) return JNI_EDETACHED;
    auto& results = state().getenv_results;
    auto found = results.find(wanted);
    jint answer = found != results.end() ? found->second : is_jni_version(wanted) ? JNI_OK : JNI_EVERSION;
    if (answer == JNI_OK) *result = interface_for(wanted);
    return answer;
}

void fill_invocation(Sim::State& s) { s.vm_table.GetEnv = get_env; }

/* ---- JVMPI ------------------------------------------------------------------------------------------------------ */

static jint jvmpi_call(const char* name, jint event_type, void* arg) {
    std::ostringstream address;
    address << arg;
    Call call(name, event_type, Raw{arg ? address.str() : "null"});
    return call.code();
}

static void fill_jvmpi(JVMPI_Interface& table) {
    table.version = 1;
    table.EnableEvent = [](jint type, void* arg) { return jvmpi_call("JVMPI.EnableEvent", type, arg); };
    table.DisableEvent = [](jint type, void* arg) { return jvmpi_call("JVMPI.DisableEvent", type, arg); };
    table.RequestEvent = [](jint type, void* arg) { return jvmpi_call("JVMPI.RequestEvent", type, arg); };
}

/* ---- The simulator ---------------------------------------------------------------------------------------------- */

static jint version_of(Mode mode) {
    switch (mode) {
    case Mode::jvmti10: return jvmti_version_1_0;
    case Mode::jvmti_newer: return 0x30110000;
    default: return 0x20010003;
    }
}

/* All capabilities of JVMTI 1.0: the 33 first bits. */
static jvmtiCapabilities jvmti_1_0_capabilities() {
    jvmtiCapabilities all{};
    const unsigned char bits[] = {0xff, 0xff, 0xff, 0xff, 0x01};
    std::memcpy(&all, bits, sizeof bits);
    return all;
}

static JVMDI_capabilities usual_jvmdi_capabilities() {
    JVMDI_capabilities usual{};
    usual.can_watch_field_modification = usual.can_watch_field_access = 1;
    usual.can_get_bytecodes = usual.can_get_synthetic_attribute = 1;
    usual.can_get_owned_monitor_info = usual.can_get_current_contended_monitor = usual.can_get_monitor_info = 1;
    usual.can_pop_frame = usual.can_redefine_classes = usual.can_suspend_resume_thread_lists = 1;
    return usual;
}

/* What a JVMDI VM reports without being asked; JVMTI reports nothing. */
static const jint initially_enabled_jvmdi[] = {
    JVMDI_EVENT_BREAKPOINT,   JVMDI_EVENT_FRAME_POP,    JVMDI_EVENT_EXCEPTION,          JVMDI_EVENT_EXCEPTION_CATCH,
    JVMDI_EVENT_THREAD_START, JVMDI_EVENT_THREAD_END,   JVMDI_EVENT_CLASS_LOAD,         JVMDI_EVENT_CLASS_PREPARE,
    JVMDI_EVENT_CLASS_UNLOAD, JVMDI_EVENT_FIELD_ACCESS, JVMDI_EVENT_FIELD_MODIFICATION, JVMDI_EVENT_USER_DEFINED,
    JVMDI_EVENT_VM_INIT,      JVMDI_EVENT_VM_DEATH,
};

Sim::Sim(Mode which) : mode(which), version(version_of(which)), inner(std::make_unique<State>()) {
    if (the_current) throw std::logic_error("there is one Sim at a time");
    the_current = this;
    State& s = *inner;
    s.sim = this;
    s.vm.functions = &s.vm_table;
    s.jvmti_env.functions = &s.jvmti_table;
    fill_traps(s);
    fill_invocation(s);
    fill_jni(s.jni_table);
    fill_jni_members(s.jni_table);
    fill_jni_arrays(s.jni_table);
    fill_jni_calls(s.jni_table);
    fill_control(s.jvmti_table, s.jvmdi_table);
    fill_threads(s.jvmti_table, s.jvmdi_table);
    fill_frames(s.jvmti_table, s.jvmdi_table);
    fill_classes(s.jvmti_table, s.jvmdi_table);
    fill_methods(s.jvmti_table, s.jvmdi_table);
    fill_jvmpi(s.jvmpi_table);

    bool on_jvmdi = mode == Mode::jvmdi;
    set_getenv(jvmti_version_1_0, on_jvmdi ? JNI_EVERSION : JNI_OK);
    set_getenv(JVMDI_VERSION_1, on_jvmdi ? JNI_OK : JNI_EVERSION);
    if (on_jvmdi)
        for (jint event : initially_enabled_jvmdi) s.enabled.insert({event, nullptr});
    delete_global_of_local_passes = mode != Mode::jvmti_newer;
    potential_capabilities = jvmti_1_0_capabilities();
    capabilities = {};
    jvmdi_capabilities = usual_jvmdi_capabilities();
    properties = {{"java.class.path", "/classes"}, {"java.vm.version", "1.0-sim"}};

    add_platform_classes(*this);
    system_group = &new_group("system");
    main_group = &new_group("main", system_group);
    system_loader = &new_object("java/lang/ClassLoader");
    system_loader->label = "loader";
    main_thread = &new_thread("main");
    attach(*main_thread);
}

Sim::~Sim() {
    inner->agent_threads.clear(); /* joins */
    detach();
    for (const auto& [address, block] : inner->blocks) std::free(block.address);
    for (const auto& [address, pin] : inner->pins)
        if (pin.copy) std::free(const_cast<void*>(address));
    the_current = nullptr;
}

JavaVM* Sim::vm() { return &inner->vm; }
jvmtiEnv* Sim::jvmti() { return &inner->jvmti_env; }
JVMDI_Interface_1* Sim::jvmdi() { return &inner->jvmdi_table; }
JVMPI_Interface* Sim::jvmpi() { return &inner->jvmpi_table; }
JNIEnv* Sim::env() { return this_native() ? &this_native()->env : nullptr; }

void Sim::set_getenv(jint wanted, jint result) {
    auto guard = lock();
    inner->getenv_results[wanted] = result;
}

std::unique_lock<Mutex> Sim::lock() { return std::unique_lock<Mutex>(inner->mutex); }

} // namespace sim
