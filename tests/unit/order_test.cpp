/* In which order the agent does things that a debugger, or another thread, could tell apart. */
#include "invocation_fixture.h"

#include "agent_thread/attach_stop.h"
#include "agent_thread/await_outcome.h"
#include "agent_thread/control_c.h"
#include "java_threads/boot.h"
#include "java_threads/poster.h"
#include "load/load.h"
#include "stop/resume_after_event.h"
#include "stop/suspend.h"

#include <dlfcn.h>
#include <filesystem>
#include <fstream>
#include <semaphore.h>
#include <sstream>
#include <stdlib.h>
#include <unistd.h>

using sim::capture_stdout;
using sim::wait_for;

static std::atomic<int> destroyed_semaphores;
/* Stands before the C library's function. */
extern "C" int sem_destroy(sem_t* semaphore) noexcept {
    destroyed_semaphores++;
    return reinterpret_cast<int (*)(sem_t*)>(dlsym(RTLD_NEXT, "sem_destroy"))(semaphore);
}

struct Order : Invocations {
    Order() {
        worker_handle = make_uref(worker);
        TMap_start(worker_handle, 4242);
        sim.clear_calls();
    }
    /* Where in `calls` the first one stands that begins so; -1 if none does. */
    static int place_of(const std::string& begin, const strings& calls) {
        for (size_t i = 0; i < calls.size(); i++)
            if (calls[i].starts_with(begin)) return (int)i;
        return -1;
    }
    /* Processes an event of the agent thread itself, with `at_hook` done at its hook. */
    void process(
        JVMDI_Event& event, std::function<void()> at_hook = [] {}) {
        hooks::during = [&](const hooks::Call&) {
            sim.env()->GetArrayLength(sim.local<jarray>(&marker)); /* to be seen among the calls */
            at_hook();
        };
        sim.clear_calls();
        process_jvmdi_event(sim.env(), &event, 4242);
        hooks::during = nullptr;
    }
    /* The calls of the last process(), cut at its hook. */
    strings before_hook() {
        strings calls = sim.calls();
        calls.resize((size_t)place_of("JNI.GetArrayLength", calls));
        return calls;
    }
    strings after_hook() {
        strings calls = sim.calls();
        calls.erase(calls.begin(), calls.begin() + place_of("JNI.GetArrayLength", calls) + 1);
        return calls;
    }
    std::string stop_call() { return sim.vm_name("SuspendThreadList"); }
    std::string go_call() { return sim.vm_name("ResumeThreadList"); }

    sim::Array& marker = sim.new_array('I', 1);
    jobject worker_handle;
};
SIM_ALL_MODES(Order);

/* ---- Threads and classes before the attach ---- */

struct BootOrder : Order {
    std::string log_of(jint kind, jobject thread) {
        return capture_stdout([&] {
            show_log("LogJVMDI");
            log_enable("LogJVMDI_VM_thread", 0, 0);
            JVMDI_Event event = {};
            event.kind = kind;
            event.u.thread_change.thread = thread;
            hooks::during = [](const hooks::Call&) { log_printf("the hook"); };
            boot_event_hook(sim.env(), &event);
        });
    }
    static void expect_in_order(const std::string& text, const strings& parts) {
        size_t at = 0;
        for (const std::string& part : parts) {
            at = text.find(part, at);
            ASSERT_NE(std::string::npos, at) << part << " is missing, or too early, in\n" << text;
        }
    }
};
SIM_ALL_MODES(BootOrder);

TEST_P(BootOrder, StartedThreadEntersTheMapThenIsShownThenIsDumped) {
    expect_in_order(log_of(JVMDI_EVENT_THREAD_START, sim.local(sim.main_thread)),
                    {"TMap_start:", "the hook", "Event = THREAD_START"});
}

TEST_P(BootOrder, EndedThreadIsShownThenDumpedThenLeavesTheMap) {
    announce();
    expect_in_order(log_of(JVMDI_EVENT_THREAD_END, sim.local(sim.main_thread)),
                    {"the hook", "Event = THREAD_END", "TMap_end:"});
    EXPECT_EQ(nullptr, TMap_tid2handle(agent_self()));
    EXPECT_EQ(nullptr, uref_of(*sim.main_thread)) << "its handle goes last, and goes";
}

TEST_P(BootOrder, ThreadMayStartBeforeTheVmIsInitialised) {
    sim.run_on(sim.new_thread("early"), [&] {
        JVMDI_Event event = {};
        event.kind = JVMDI_EVENT_THREAD_START;
        event.u.thread_change.thread = sim.local(sim.this_thread());
        boot_event_hook(sim.env(), &event);
        EXPECT_NE(nullptr, TMap_tid2handle(agent_self()));
        TMap_init(); /* as VM_INIT does, on another thread */
        EXPECT_NE(nullptr, TMap_tid2handle(agent_self())) << "the map was emptied";
        TMap_end(uref_of(*sim.this_thread()), agent_self());
    });
    EXPECT_EQ(strings{"hook_thread_start"}, hooks::names());
}

/* ---- The agent thread meets the debugger ---- */

struct Meeting : sim::SimTestP {
    Meeting() {
        sim.phase = JVMTI_PHASE_ONLOAD;
        JVM_OnLoad(sim.vm(), nullptr, nullptr);
        sim.phase = JVMTI_PHASE_LIVE;
        monitors::longest_timed_wait = 2;
    }
    void end() {
        agent_attach_jquor(sim.env());
        sim.raise_vm_death(FORCE);
        sim.join_agent_threads();
    }
};
SIM_ALL_MODES(Meeting);

TEST_P(Meeting, SemaphoreOfTheFirstContactIsDestroyed) {
    const int before = destroyed_semaphores;
    sim.raise_vm_init(FORCE);
    EXPECT_EQ(before + 1, destroyed_semaphores);
    end();
}

TEST_P(Meeting, AttachStopTellsTheThreadThatStartedTheAgentAndComesAfterTheSeedingAndBeforeTheResumption) {
    sim.run_on(sim.new_thread("starter"), [&] {
        sim.raise_vm_init(FORCE);
        sim.raise_thread_start(FORCE);
    });
    ASSERT_EQ(1u, hooks::contacts.size());
    const agent_tid_t starter = hooks::contacts[0].creator;
    EXPECT_NE(agent_self(), starter);
    sim.raise_thread_start(FORCE);
    agent_attach_jquor(sim.env());
    jint listed = -1;
    std::atomic<int> suspended{-1};
    hooks::during_contact = [&] {
        listed = prep_list.count;
        suspended = sim.main_thread->suspend_count;
    };
    PrepList_reset(&prep_list);
    shared_store(jquor_attached, 1);
    EXPECT_TRUE(sim::wait_for([] { return shared_load(jquor_attached) == 0; }));
    hooks::during_contact = nullptr;
    ASSERT_EQ(2u, hooks::contacts.size());
    EXPECT_EQ(starter, hooks::contacts[1].creator);
    EXPECT_LT(0, listed) << "the classes are listed when the debugger looks";
    EXPECT_EQ(1, suspended) << "and the threads still stand";
    EXPECT_EQ(0, sim.main_thread->suspend_count);
    end();
}

TEST_P(Meeting, AttachingAtTheAttachStopDescribesNoClassAgainOnANewerVm) {
    sim.raise_vm_init(FORCE);
    sim::Class& known = sim.new_class("Known");
    sim::Class& late = sim.new_class("Late");
    sim.loaded_classes = {&known};
    const auto described = [&](const char* name) {
        const auto calls = sim.calls();
        return std::count(calls.begin(), calls.end(), sim.vm_name("GetClassSignature(") + name + ")");
    };
    std::atomic<jint> listed{-1};
    hooks::during_contact = [&] {
        sim.loaded_classes = {&late, &known}; /* prepared by a thread that nothing suspends */
        sim.clear_calls();
        agent_attach_jquor(sim.env());
        listed = prep_list.count;
    };
    shared_store(jquor_attached, 1);
    EXPECT_TRUE(sim::wait_for([] { return shared_load(jquor_attached) == 0; }));
    hooks::during_contact = nullptr;
    EXPECT_EQ(2, listed);
    EXPECT_EQ(newer() ? 0 : 1, described("Known"));
    EXPECT_EQ(1, described("Late"));
    sim.clear_calls();
    agent_attach_jquor(sim.env());
    EXPECT_EQ(1, described("Known")) << "elsewhere the list starts afresh";
    end();
}

TEST_P(Meeting, LogTellsThatThereIsNoClassPath) {
    sim.properties.clear();
    const std::string out = capture_stdout([&] {
        _log_link(_log_map_agent);
        log_start(nullptr, stdout);
        log_echo(1);
        log_enable("LogJVMDI", 0, 0);
        sim.raise_vm_init(FORCE);
        log_disable("LogJVMDI");
    });
    EXPECT_NE(std::string::npos, out.find("AgentThread(): classpath '(null)'\n")) << out;
    end();
}

TEST_P(Meeting, LogIsClosedWhenTheAgentThreadEnds) {
    char path[] = "/tmp/quor-order-XXXXXX";
    close(mkstemp(path));
    const auto is_open = [&] {
        for (const auto& each : std::filesystem::directory_iterator("/proc/self/fd")) {
            std::error_code gone;
            if (std::filesystem::read_symlink(each, gone) == path) return true;
        }
        return false;
    };
    _log_link(_log_map_agent);
    log_start(path, nullptr);
    log_enable("LogJVMDI_VM_thread", 0, LOG_SERIAL | LOG_TIMESTAMP);
    log_enable("LogJVMDI_VM_thread", LOG_SRCLOC, 0);
    sim.raise_vm_init(FORCE);
    sim.raise_thread_start(FORCE);
    EXPECT_TRUE(is_open());
    log_disable("LogJVMDI_VM_thread");
    end();
    EXPECT_FALSE(is_open());
    std::stringstream text;
    text << std::ifstream(path).rdbuf();
    EXPECT_NE(std::string::npos, text.str().find("LogJVMDI_VM_thread\"gent_tmap.c\":"))
        << "names as they are shown: the last "
           "eleven characters\n"
        << text.str();
    unlink(path);
}

/* ---- Around a hook ---- */

TEST_P(Order, ResumingReleasesThenEmptiesTheResultAreasThenLetsGo) {
    const jobject handed = sim.global(&sim.new_object("java/lang/Object"));
    announce();
    TMap_tid2tm(agent_self())->thread_name = (char*)sim.allocate(8);
    agent_suspend_all(sim.env());
    add_resource(sim.env(), handed, freeRef, "handed out");
    sim.clear_calls();
    EXPECT_EQ(0, resume_after_event(sim.env()));
    const strings calls = sim.calls();
    const int released = place_of("JNI.DeleteGlobalRef", calls), emptied = place_of(sim.vm_name("Deallocate"), calls),
              let_go = place_of(go_call(), calls);
    EXPECT_LE(0, released);
    EXPECT_LT(released, emptied);
    EXPECT_LT(emptied, let_go);
    TMap_end(uref_of(*sim.main_thread), agent_self());
}

TEST_P(Order, ClassOfAnExceptionGetsItsHandleBeforeTheThreadsAreStopped) {
    sim::Object& error = sim.new_exception("java/lang/Error");
    JVMDI_Event event = {};
    event.kind = JVMDI_EVENT_EXCEPTION;
    event.u.exception.exception = sim.global(&error);
    process(event);
    const strings calls = before_hook();
    EXPECT_LE(0, place_of("JNI.GetObjectClass", calls));
    EXPECT_LT(place_of("JNI.NewGlobalRef(java/lang/Error)", calls), place_of(stop_call(), calls));
    EXPECT_NE(nullptr, uref_of(*error.type));
}

TEST_P(Order, ClassOfACaughtExceptionGetsNoHandle) {
    sim::Object& error = sim.new_exception("java/lang/Error");
    JVMDI_Event event = {};
    event.kind = JVMDI_EVENT_EXCEPTION_CATCH;
    event.u.exception_catch.exception = sim.global(&error);
    process(event);
    EXPECT_EQ(strings{"hook_exception_caught"}, hooks::names());
    EXPECT_EQ(0u, sim.count_calls("JNI.GetObjectClass"));
    EXPECT_EQ(nullptr, uref_of(*error.type));
}

TEST_P(Order, HandleOfAnUnloadedClassGoesWhenTheThreadsHaveBeenLetGo) {
    JVMDI_Event event = {};
    event.kind = JVMDI_EVENT_CLASS_UNLOAD;
    event.u.class_event.clazz = (jclass)make_uref(foo);
    process(event, [&] { EXPECT_NE(nullptr, uref_of(foo)); });
    const strings calls = after_hook();
    EXPECT_LE(0, place_of(go_call(), calls));
    EXPECT_LT(place_of(go_call(), calls), place_of("JNI.DeleteGlobalRef(Foo)", calls));
    EXPECT_EQ(nullptr, uref_of(foo));
}

TEST_P(Order, OutcomeOfAMethodIsShownWithTheOthersStopped) {
    JVMDI_Event event = {};
    event.kind = JVMDI_EVENT_USER_DEFINED;
    event.u.user.key = INVOKE_STATUS_RETURNED;
    process(event, [&] { EXPECT_EQ(1, worker.suspend_count); });
    EXPECT_EQ(strings{"hook_invoke_method"}, hooks::names());
    EXPECT_EQ(0, worker.suspend_count);
}

TEST_P(Order, EndOfTheVmPutsTheHooksBackThenTheEventsThenEndsTheLoop) {
    vm_init_done = 1;
    terminate_debug_agent = 0;
    strings seen;
    const auto note = [&](const char* what) {
        return [&seen, what] {
            seen.push_back(what);
            EXPECT_EQ(0, terminate_debug_agent);
            EXPECT_EQ(1, vm_init_done);
        };
    };
    sim.before(on_jvmdi() ? "JVMDI.SetEventHook" : "JVMTI.SetEventCallbacks", note("hooks"));
    sim.before(sim.vm_name("SetEventNotificationMode"), note("events"));
    JVMDI_Event event = {};
    event.kind = JVMDI_EVENT_VM_DEATH;
    process_jvmdi_event(sim.env(), &event, 0);
    EXPECT_EQ(on_jvmdi() ? strings{"hooks"} : (strings{"hooks", "events", "events", "events"}), seen);
    if (on_jvmti()) {
        EXPECT_CALLS(sim.calls_of({"JVMTI.SetEventNotificationMode"}), "JVMTI.SetEventNotificationMode(1, 50, null)",
                     "JVMTI.SetEventNotificationMode(1, 52, null)", "JVMTI.SetEventNotificationMode(1, 53, null)");
    }
    EXPECT_EQ(1, terminate_debug_agent);
    EXPECT_EQ(0, vm_init_done);
}

/* ---- The queue ---- */

TEST_P(Order, ControlCAskedForDuringAnEventIsShownBeforeTheNextEvent) {
    TMap_end(worker_handle, 4242);
    auto first = start_known(worker, [&] { sim.raise_breakpoint(bar, 1, FORCE); });
    EXPECT_TRUE(wait_for([] { return monitors::waiting == 1; }));
    auto second = start_known(sim.new_thread("second"), [&] { sim.raise_single_step(bar, 1, FORCE); });
    EXPECT_TRUE(wait_for([] { return monitors::waiting == 2; }));
    hooks::during = [](const hooks::Call& call) {
        if (call.hook == "hook_bpt") shared_store(controlc_hit, 1);
    };
    for (int i = 0; i < 3; i++) EXPECT_EQ(0, process_next_event());
    first->join();
    second->join();
    EXPECT_EQ((strings{"hook_bpt", "hook_controlc", "hook_step"}), hooks::names());
}

TEST_P(Order, MethodRunsWithTheMonitorOfItsThreadsEntryHeldAndNoOther) {
    TMap_end(worker_handle, 4242);
    int held = -1;
    sim::Method& number = method_that("number", [&](Invocation&) {
        held = monitors::held;
        return jint{1};
    });
    auto running = stop_worker([&](jobject thread) { invoke(thread, number, ASYNCHRONOUS); });
    EXPECT_EQ(0, process_next_event());
    running->join();
    EXPECT_EQ(1, held);
}

static strings handled;
static void handler_of_the_test(JNIEnv*, JVMDI_Event* event, agent_tid_t) {
    handled.push_back(std::to_string(event->kind) + " " + std::to_string(event->u.user.key));
}

TEST_P(Order, OutcomeIsDeliveredByTheHandlerOfTheEventBeforeIt) {
    TMap_end(worker_handle, 4242);
    sim::Method& number = method_that("number", [](Invocation&) { return jint{1}; });
    auto running = start_known(worker, [&] {
        sim.in_event([&] {
            JVMDI_Event event = {};
            event.kind = JVMDI_EVENT_USER_DEFINED;
            event.u.user.key = 17;
            EXPECT_EQ(0, add_event(sim.env(), &event, {.jvmdi = handler_of_the_test}));
        });
    });
    EXPECT_TRUE(wait_for([] { return monitors::waiting == 1; }));
    EXPECT_EQ(0, post_invoke_request_async(sim.env(), uref_of(worker), receiver_uref(), number.id(), 'I', 0, nullptr));
    EXPECT_EQ(0, process_next_event());
    EXPECT_EQ(0, process_next_event());
    running->join();
    EXPECT_EQ((strings{"5 17", "5 1"}), handled);
    EXPECT_EQ(strings(), hooks::names());
}

TEST_P(Order, FreeListsMonitorIsNeverHeldWithAnother) {
    TMap_end(worker_handle, 4242);
    strings names;
    monitors::before_lock = [&](const std::string& name) {
        if (name == "add_event") names.push_back(monitors::held ? "with another" : "alone");
    };
    sim::Interleaving order;
    order.hold("worker", "after lock add_event"); /* the free list's, to take an entry */
    auto running = start_known(worker, [&] { sim.raise_breakpoint(bar, 1, FORCE); });
    order.await("worker");
    EXPECT_EQ(1, monitors::locked);
    order.hold("worker", "lock add_event", 3); /* the entry's and the queue's are between: the free list's again */
    order.go("worker");
    EXPECT_EQ(0, process_next_event());
    order.await("worker");
    EXPECT_EQ(0, monitors::locked);
    order.go("worker");
    running->join();
    monitors::before_lock = nullptr;
    EXPECT_EQ((strings{"alone", "alone", "with another", "alone"}), names) << "free list, entry, queue, free list";
}

/* ---- Requests ---- */

TEST_P(Order, RequestThatCannotBePostedNeitherLetsGoNorStops) {
    make_uref(receiver);
    make_uref(foo);
    agent_suspend_all(sim.env());
    sim.fail(sim.vm_name("Allocate"), JVMTI_ERROR_OUT_OF_MEMORY);
    sim.clear_calls();
    AgentInvokRet result = {};
    jint code = 0;
    EXPECT_EQ("AgentThread: JVMDI_Allocate() failed -- OUT_OF_MEMORY\n",
              capture_stdout([&] { code = invoke(worker_handle, bar, SYNCHRONOUS, &result); }));
    EXPECT_EQ(JVMTI_ERROR_OUT_OF_MEMORY, code);
    sim.stop_failing(sim.vm_name("Allocate"));
    EXPECT_CALLS(stops_and_goes());
    EXPECT_EQ(1, worker.suspend_count);
    agent_resume_all(sim.env());
}

TEST_P(Order, DetachFreesRequestsThenLetsTheThreadsGo) {
    agent_suspend_all(sim.env());
    jvalue argument = {};
    sim::Method& take = foo.add_method("take", "(I)V");
    ASSERT_EQ(0, post_invoke_request_async(sim.env(), worker_handle, receiver_uref(), take.id(), 'V', 1, &argument));
    ASSERT_EQ(1, in_method_invoke());
    sim.clear_calls();
    EXPECT_EQ(0, agent_detach_jquor(sim.env()));
    const strings calls = sim.calls();
    EXPECT_LE(0, place_of(sim.vm_name("Deallocate"), calls));
    EXPECT_LT(place_of(sim.vm_name("Deallocate"), calls), place_of(go_call(), calls));
    EXPECT_EQ(0, in_method_invoke());
    EXPECT_EQ(0, worker.suspend_count);
}

/* ---- What is asked of the VM while the map is walked ---- */

TEST_P(Order, MapIsLockedWhileItsThreadsAreAskedAfter) {
    jvmti_features.can_get_owned_monitor_info = jvmti_features.can_get_current_contended_monitor = 1;
    jvmti_features.can_get_monitor_info = 1;
    jvmdi_features.can_get_owned_monitor_info = jvmdi_features.can_get_current_contended_monitor = 1;
    jvmdi_features.can_get_monitor_info = 1;
    announce();
    strings locked;
    const auto note = [&](const char* what) {
        return [&locked, what] {
            const bool free = pthread_mutex_trylock(&tmap_lock.mutex) == 0;
            if (free) pthread_mutex_unlock(&tmap_lock.mutex);
            locked.push_back(std::string(what) + (free ? " unlocked" : " locked"));
        };
    };
    sim.before(sim.vm_name("GetOwnedMonitorInfo"), note("owned"));
    sim.before(sim.vm_name("Allocate"), note("memory"));
    jint count;
    jthread* threads;
    EXPECT_EQ(0, agent_get_threads(sim.env(), &count, &threads));
    EXPECT_EQ((strings{"memory locked"}), locked);
    locked.clear();
    sim.before(sim.vm_name("Allocate"), [] {});
    monitor_entry* list;
    EXPECT_EQ(0, agent_get_monitorlist(sim.env(), &count, &list));
    EXPECT_EQ((strings{"owned locked"}), locked);
    locked.clear();
    sim.before(sim.vm_name("SuspendThreadList"), note("stop"));
    sim.before(sim.vm_name("ResumeThreadList"), note("go"));
    agent_suspend_all(sim.env());
    agent_resume_all(sim.env());
    EXPECT_EQ((strings{"stop locked", "go locked"}), locked);
    TMap_end(uref_of(*sim.main_thread), agent_self());
}
