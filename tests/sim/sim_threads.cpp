/* sim_threads.cpp: real threads that are attached to the VM as Java threads. */
#include "sim/internal.h"

#include <stdexcept>

namespace sim {

/* The calling thread's attachment. A thread that ends, even by pthread_exit, leaves the VM. */
struct Attachment {
    NativeThread* native = nullptr;
    ~Attachment() {
        if (native) detach_native(native);
    }
};
static thread_local Attachment here;

NativeThread* this_native() { return here.native; }

NativeThread* attach_native(Sim& sim, Thread& thread) {
    auto guard = sim.lock();
    Sim::State& s = sim.state();
    auto owned = std::make_unique<NativeThread>();
    NativeThread* native = owned.get();
    native->env.functions = &s.jni_table;
    native->env.thread = native;
    native->java = &thread;
    s.threads.push_back(std::move(owned));
    push_frame(native, false, false);
    thread.life = Thread::Life::alive;
    here.native = native;
    return native;
}

void detach_native(NativeThread* native) {
    auto guard = the_sim().lock();
    for (const LocalFrame& frame : native->frames)
        if (frame.pushed) the_sim().misuse(native->java->label + " ended inside PushLocalFrame");
    while (!native->frames.empty()) pop_frame(native, "its thread ended");
    native->attached = false;
    native->java->life = Thread::Life::ended;
    if (native->agent) --state().running_agent_threads;
    here.native = nullptr;
}

/* ---- Threads of the test ---------------------------------------------------------------------------------------- */

void* Running::run(void* self) {
    static_cast<Running*>(self)->body();
    return nullptr;
}

void Running::join() {
    if (joined) return;
    joined = true;
    pthread_join(native, nullptr);
}

Running::~Running() { join(); }

std::unique_ptr<Running> Sim::launch(std::function<void()> body) {
    std::unique_ptr<Running> running(new Running());
    running->body = std::move(body);
    if (pthread_create(&running->native, nullptr, Running::run, running.get()) != 0)
        throw std::runtime_error("no thread could be made");
    return running;
}

std::unique_ptr<Running> Sim::start_unattached(std::function<void()> body) { return launch(std::move(body)); }

std::unique_ptr<Running> Sim::start(Thread& thread, std::function<void()> body) {
    return launch([this, &thread, body = std::move(body)] {
        attach_native(*this, thread);
        body();
        detach();
    });
}

void Sim::run_on(Thread& thread, std::function<void()> body) { start(thread, std::move(body))->join(); }

void Sim::attach(Thread& thread) {
    detach();
    attach_native(*this, thread);
}

void Sim::detach() {
    if (here.native) detach_native(here.native);
}

Thread* Sim::this_thread() { return here.native ? here.native->java : nullptr; }

Object* Sim::pending() {
    auto guard = lock();
    return here.native ? here.native->pending : nullptr;
}
void Sim::set_pending(Object* exception) {
    auto guard = lock();
    if (here.native) here.native->pending = exception;
}

/* ---- Threads of the agent --------------------------------------------------------------------------------------- */

/* Runs `body` on the calling thread as the Java thread `thread`, from its announced start to its announced end. */
static void live_as(Thread* thread, const std::function<void(JNIEnv*)>& body) {
    Sim& sim = the_sim();
    NativeThread* native = attach_native(sim, *thread);
    native->agent = true;
    if (sim.agent_threads_announced) sim.raise_thread_start();
    body(&native->env);
    if (sim.agent_threads_announced) sim.raise_thread_end();
    detach_native(native);
}

jint run_agent_thread(Thread* thread, const std::function<void(JNIEnv*)>& body) {
    Sim& sim = the_sim();
    if (thread->life != Thread::Life::fresh) return JVMTI_ERROR_INVALID_THREAD;
    switch (sim.agent_threads) {
    case Sim::AgentThreads::recorded: break;
    case Sim::AgentThreads::inlined: body(sim.env()); break;
    case Sim::AgentThreads::real: {
        auto guard = sim.lock();
        ++state().running_agent_threads;
        state().agent_threads.push_back(Sim::launch([thread, body] { live_as(thread, body); }));
        break;
    }
    }
    return JVMTI_ERROR_NONE;
}

void Sim::join_agent_threads() {
    std::vector<std::unique_ptr<Running>> threads;
    {
        auto guard = lock();
        threads.swap(inner->agent_threads);
    }
    for (auto& running : threads) running->join();
}

size_t Sim::running_agent_threads() {
    auto guard = lock();
    return inner->running_agent_threads;
}

} // namespace sim
