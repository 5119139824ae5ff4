/* The agent's modules inside one process, on the simulated VM, whose own time is part of each VM call: figures to compare with
 * themselves. The number behind a name is how many records there are.
 */
#include "agent_thread/consumer.h"
#include "event/queue.h"
#include "java_threads/poster.h"
#include "load/boot_hooks.h"
#include "registry/agent_tmap.h"
#include "registry/agent_uref.h"
#include "registry/prep_list.h"
#include "sim/sim.h"
#include "support/agent_self.h"
#include "support/log_agent.h"
#include "vm/vm_interface.h"

#include <atomic>
#include <benchmark/benchmark.h>
#include <memory>

static const char LOG_SOURCE[] = "modules.cpp";

/* The VM and the agent's modules, as loading leaves them; the calling thread is the agent thread. */
struct world {
    world() {
        sim.set_logging(false);
        javavm = sim.vm();
        jvmti = sim.jvmti();
        jvmti_version = sim.version;
        jvmti_version_set = 1;
        URef_init();
        TMap_init();
        PrepList_init(&prep_list);
        event_queue_init();
    }
    ~world() { tid_debug_agent = 0; }

    sim::Sim sim{sim::Mode::jvmti_newer};
};

static void take_out_of_map() {
    agent_tid_t tid;
    jobject handle;
    while (TMap_getthread(&tid, &handle), tid) TMap_end(handle, tid);
}

static void find_reference(benchmark::State& state) {
    world w;
    std::vector<jobject> references;
    for (int64_t i = 0; i < state.range(0); i++) {
        references.push_back(w.sim.global(&w.sim.new_object()));
        intern(w.sim.env(), references.back());
    }
    size_t next = 0;
    for ([[maybe_unused]] auto _ : state) {
        if (!URef_find(w.sim.env(), references[next])) state.SkipWithError("no such reference");
        next = (next + 7919) % references.size();
    }
    for (const jobject each : references) URef_delete(w.sim.env(), each);
}
BENCHMARK(find_reference)->Name("URef_find")->Arg(100)->Arg(1000)->Arg(10000)->Iterations(3000); /* filled once */

/* Thread ids are addresses of stacks: some pages and megabytes apart. */
static agent_tid_t id_of(int64_t number) { return (agent_tid_t)(0x700000000000 + number * 0x101000 + 0x6c0); }

static void find_thread(benchmark::State& state) {
    world w;
    for (int64_t i = 0; i < state.range(0); i++) TMap_start(w.sim.global(w.sim.main_thread), id_of(i));
    int64_t next = 0;
    for ([[maybe_unused]] auto _ : state) {
        if (!TMap_tid2tm(id_of(next))) state.SkipWithError("no such thread");
        next = (next + 7) % state.range(0);
    }
    take_out_of_map();
}
BENCHMARK(find_thread)->Name("TMap_tid2tm")->Arg(10)->Arg(1000)->Arg(10000);

static void walk_threads(benchmark::State& state) {
    world w;
    for (int64_t i = 0; i < state.range(0); i++) TMap_start(w.sim.global(w.sim.main_thread), id_of(i));
    const auto count = [](void* number, tmap_record*, void*) { return (jint)++ * (int64_t*)number; };
    for ([[maybe_unused]] auto _ : state) {
        int64_t seen = 0;
        TMap_iter(&seen, count, nullptr);
        if (seen != state.range(0)) state.SkipWithError("not every thread");
    }
    take_out_of_map();
}
BENCHMARK(walk_threads)->Name("TMap_iter")->Arg(10)->Arg(1000)->Arg(10000);

static void handle_nothing(JNIEnv*, JVMDI_Event*, agent_tid_t) {}

/* Posted on a thread of its own, taken by this one, and released. */
static void pass_event(benchmark::State& state) {
    world w;
    tid_debug_agent = agent_self();
    std::atomic<bool> over = false;
    auto poster = w.sim.start(w.sim.new_thread("poster"), [&] {
        JVMDI_Event event = {};
        event.kind = JVMDI_EVENT_USER_DEFINED;
        while (!over) add_event(w.sim.env(), &event, {.jvmdi = handle_nothing});
    });
    for ([[maybe_unused]] auto _ : state) process_next_event();
    over = true;
    event_queue_close();
    while (event_queue_has_work()) process_next_event();
    poster->join();
}
BENCHMARK(pass_event)->Name("event: post, take, release")->UseRealTime();

static void trace(benchmark::State& state) {
    _log_link(_log_map_agent);
    log_start("/dev/null", nullptr);
    if (state.range(0))
        log_enable("LogJVMDI", 0, 0);
    else
        log_disable("LogJVMDI");
    int number = 0;
    for ([[maybe_unused]] auto _ : state) AGENT_LOG(LogJVMDI, "record %d", number++);
    log_disable("LogJVMDI");
}
BENCHMARK(trace)->Name("log: statement off or on")->Arg(0)->Arg(1);

BENCHMARK_MAIN();
