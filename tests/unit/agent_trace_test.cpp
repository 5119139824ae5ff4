/* The trace dumps on a simulated VM: their records, their VM calls in order, and what they give back. */
#include "event/dump.h"
#include "event/event_log.h"
#include "registry/agent_tmap.h"
#include "support/log_agent.h"
#include "vm/vm_call.h"

#include "sim/sim_test.h"

#include <algorithm>
#include <initializer_list>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <string>
#include <utility>
#include <vector>

typedef std::vector<std::string> texts;

static const agent_tid_t worker_tid = 4711;

struct AgentTrace : sim::SimTestP {
    void SetUp() override {
        sim::SimTestP::SetUp();
        install_globals();
        TMap_init();
        _log_link(_log_map_agent);
        stream = open_memstream(&written, &written_size);
        log_start(NULL, stream);
        log_echo(1);
        for (const char* name : {"LogJVMDI", "LogJVMDIthread", "LogJVMDIclass", "LogJVMDImethod", "LogJVMDIlocation"})
            log_enable(name, 0, ~0u);

        group = &sim.new_group("workers", sim.main_group);
        group->max_priority = 9;
        worker = &sim.new_thread("worker", group);
        worker->priority = 7;
        foo = &sim.new_class("Foo");
        bar = &foo->add_method("bar", "(I)V");
        bar->start = 3;
        bar->end = 40;
        bar->lines = {{3, 11}, {17, 12}};
        bar->bytecodes = {1, 2, 3};
        sim.clear_calls();
    }

    void TearDown() override {
        for (const auto& [handle, tid] : started) TMap_end(handle, tid);
        log_finish();
        fclose(stream);
        free(written);
        EXPECT_EQ(blocks_kept, sim.live_blocks().size());
        sim::SimTestP::TearDown();
    }

    /* What a dump wrote since the last call. */
    std::string log() {
        const std::string all(written, written_size);
        const std::string fresh = all.substr(seen);
        seen = all.size();
        return fresh;
    }

    /* The VM calls of dumps since the last clear_calls, without those that fetch the JVMDI table. */
    texts vm_calls() { return sim.calls_of({"JVMTI.*", "JVMDI.*", "JNI.Delete*", "JNI.GetObjectClass"}); }

    /* The call of a method query: JVMDI takes the class too. */
    std::string method_call(const char* function) const {
        return sim.vm_name(function) + (on_jvmdi() ? "(Foo, Foo.bar)" : "(Foo.bar)");
    }
    std::string vm_call(const char* function, const char* arguments) const {
        return sim.vm_name(function) + "(" + arguments + ")";
    }
    std::string deallocate() const { return vm_call("Deallocate", ""); }

    /* The calls of whole dumps. */
    texts group_calls() const {
        texts calls = {vm_call("GetThreadGroupInfo", "workers")};
        if (on_jvmdi()) calls.push_back("JNI.DeleteGlobalRef(main)");
        calls.push_back(deallocate());
        return calls;
    }
    texts thread_calls(bool with_group) const {
        texts calls = {vm_call("GetThreadInfo", "worker")};
        if (with_group) append(calls, group_calls());
        if (on_jvmdi()) append(calls, {"JNI.DeleteGlobalRef(workers)", loader_deleted()});
        calls.push_back(deallocate());
        return calls;
    }
    texts class_calls(const char* name = "Foo", int texts_given = 2) const {
        texts calls = {vm_call("GetClassSignature", name), vm_call("GetClassStatus", name),
                       vm_call("GetSourceFileName", name)};
        calls.insert(calls.end(), (size_t)texts_given, deallocate());
        return calls;
    }
    texts method_calls() const {
        texts calls = {method_call("GetMethodName"),
                       method_call("IsMethodNative"),
                       method_call("IsMethodSynthetic"),
                       method_call("GetMethodLocation"),
                       deallocate(),
                       deallocate()};
        append(calls, {method_call("GetLineNumberTable"), method_call("GetBytecodes"), deallocate(), deallocate()});
        return calls;
    }
    std::string loader_deleted() const { return "JNI.DeleteGlobalRef(" + sim.system_loader->label + ")"; }

    static void append(texts& calls, const texts& more) { calls.insert(calls.end(), more.begin(), more.end()); }
    static texts joined(std::initializer_list<texts> parts) {
        texts all;
        for (const texts& part : parts) append(all, part);
        return all;
    }

    jthread known_worker(agent_tid_t tid = worker_tid) {
        jthread handle = sim.global<jthread>(worker);
        TMap_start(handle, tid);
        started.push_back({handle, tid});
        return handle;
    }

    /* Runs `dump` where `function` fails with 41, and gives the log; the simulator's failures end with it. */
    template <class Dump> std::string log_where_fails(const char* function, Dump dump) {
        sim.fail(sim.vm_name(function), 41);
        dump();
        sim.stop_failing(sim.vm_name(function));
        return log();
    }

    FILE* stream = NULL;
    char* written = NULL;
    size_t written_size = 0;
    size_t seen = 0;
    std::vector<std::pair<jthread, agent_tid_t>> started;
    size_t blocks_kept = 0; /* by a failing Deallocate */
    sim::ThreadGroup* group = NULL;
    sim::Thread* worker = NULL;
    sim::Class* foo = NULL;
    sim::Method* bar = NULL;
};
SIM_ALL_MODES(AgentTrace);

/* ---- Records ---- */

/* One record: the category padded as in a header, the text, and the newline that ends every record. */
static std::string record(const std::string& category, const std::string& text) {
    std::string header = category;
    while (header.size() < 11) header += ' ';
    return header + text + "\n";
}

static std::string event_record(const char* name) { return record("LogJVMDI", std::string("Event = ") + name); }
static const std::string group_record =
    record("LogJVMDIthread", " ThreadGroup: name = workers max_priority = 9, is_daemon = 0\n");
static const std::string thread_record =
    record("LogJVMDIthread", " Thread: name = worker(4711) priority = 7, is_daemon = 0\n");
static const std::string class_record =
    record("LogJVMDIclass", "\n\tsignature = LFoo;\n\tstatus = 0x7\n\tsourceName = Foo.java");
static const std::string location_record = record("LogJVMDIlocation", " location = 17\n");
static const std::string method_name_record =
    record("LogJVMDI", " Method: name = bar, signature = (I)V, isNative = 0\n");
static const std::string method_synthetic_record =
    record("LogJVMDImethod", " Method: name = bar, signature = (I)V, isSynthetic = 0\n");
static const std::string method_range_record = record("LogJVMDImethod", " Method: start = 3, end = 40\n");
static const std::string method_line_records =
    record("LogJVMDImethod", " Method: Line number: 11 start_location: 3\n") +
    record("LogJVMDImethod", " Method: Line number: 12 start_location: 17\n");
static const std::string method_records =
    method_name_record + method_synthetic_record + method_range_record + method_line_records;

/* ---- Threads and thread groups ---- */

TEST_P(AgentTrace, ThreadIsDumpedWithItsIdFromTheThreadMap) {
    dump_thread(sim.env(), known_worker(), JNI_FALSE);
    EXPECT_EQ(thread_record, log());
    EXPECT_EQ(thread_calls(false), vm_calls());
}

TEST_P(AgentTrace, ThreadThatTheMapDoesNotKnowHasTheIdZero) {
    worker->daemon = true;
    dump_thread(sim.env(), sim.global<jthread>(worker), JNI_FALSE);
    EXPECT_EQ(record("LogJVMDIthread", " Thread: name = worker(0) priority = 7, is_daemon = 1\n"), log());
}

TEST_P(AgentTrace, ThreadIdIsShownWhole) {
    const agent_tid_t tid = sizeof(void*) == 4 ? (agent_tid_t)-157910208 : (agent_tid_t)0x7fff12345678;
    dump_thread(sim.env(), known_worker(tid), JNI_FALSE);
    EXPECT_EQ(
        record("LogJVMDIthread", " Thread: name = worker(" + std::to_string(tid) + ") priority = 7, is_daemon = 0\n"),
        log());
}

TEST_P(AgentTrace, ThreadIsDumpedWithItsGroup) {
    dump_thread(sim.env(), known_worker(), JNI_TRUE);
    EXPECT_EQ(thread_record + group_record, log());
    EXPECT_EQ(thread_calls(true), vm_calls());
}

TEST_P(AgentTrace, ThreadWithoutAGroupOrLoaderIsDumpedAlone) {
    worker->context_loader = NULL;
    worker->life = sim::Thread::Life::ended; /* such a thread has no group */
    dump_thread(sim.env(), known_worker(), JNI_TRUE);
    EXPECT_EQ(thread_record, log());
    EXPECT_EQ((texts{vm_call("GetThreadInfo", "worker"), deallocate()}), vm_calls());
}

TEST_P(AgentTrace, ReferencesThatJvmdiReturnedAreDeleted) {
    jthread handle = known_worker();
    const size_t globals = sim.live_globals();
    dump_thread(sim.env(), handle, JNI_TRUE);
    EXPECT_EQ(globals, sim.live_globals());
}

TEST_P(AgentTrace, ThreadErrorIsTold) {
    jthread handle = known_worker();
    EXPECT_EQ(record("LogJVMDIthread", " Thread: Error encountered in trace 41\n"),
              log_where_fails("GetThreadInfo", [&] { dump_thread(sim.env(), handle, JNI_TRUE); }));
    EXPECT_EQ(texts{vm_call("GetThreadInfo", "worker")}, vm_calls());
}

TEST_P(AgentTrace, WrongPhaseEndsAThreadDumpSilentlyOnJvmtiOnly) {
    jthread handle = known_worker();
    sim.fail(sim.vm_name("GetThreadInfo"), 112);
    dump_thread(sim.env(), handle, JNI_TRUE);
    EXPECT_EQ(on_jvmdi() ? record("LogJVMDIthread", " Thread: Error encountered in trace 112\n") : "", log());
}

TEST_P(AgentTrace, ThreadNameThatCannotBeReleasedIsTold) {
    jthread handle = known_worker();
    blocks_kept = 1;
    EXPECT_EQ(thread_record + record("LogJVMDIthread", " Thread: Error encountered in trace 41\n"),
              log_where_fails("Deallocate", [&] { dump_thread(sim.env(), handle, JNI_FALSE); }));
}

TEST_P(AgentTrace, GroupIsDumped) {
    group->daemon = true;
    dump_threadGroup(sim.env(), sim.local<jthreadGroup>(group));
    EXPECT_EQ(record("LogJVMDIthread", " ThreadGroup: name = workers max_priority = 9, is_daemon = 1\n"), log());
    EXPECT_EQ(group_calls(), vm_calls());
}

TEST_P(AgentTrace, GroupWithoutAParentHasNoReferenceToDelete) {
    group->parent = NULL;
    dump_threadGroup(sim.env(), sim.local<jthreadGroup>(group));
    EXPECT_EQ(group_record, log());
    EXPECT_EQ((texts{vm_call("GetThreadGroupInfo", "workers"), deallocate()}), vm_calls());
}

TEST_P(AgentTrace, GroupErrorIsToldAndTheThreadIsStillReleased) {
    jthread handle = known_worker();
    EXPECT_EQ(thread_record + record("LogJVMDIthread", " ThreadGroup: Error encountered in trace 41\n"),
              log_where_fails("GetThreadGroupInfo", [&] { dump_thread(sim.env(), handle, JNI_TRUE); }));
    EXPECT_EQ(deallocate(), vm_calls().back());
}

TEST_P(AgentTrace, GroupNameThatCannotBeReleasedIsTold) {
    jthreadGroup handle = sim.local<jthreadGroup>(group);
    blocks_kept = 1;
    EXPECT_EQ(group_record + record("LogJVMDIthread", " ThreadGroup: Error encountered in trace 41\n"),
              log_where_fails("Deallocate", [&] { dump_threadGroup(sim.env(), handle); }));
}

struct AgentTraceJvmdiTable : AgentTrace {};
SIM_MODES(AgentTraceJvmdiTable, sim::Mode::jvmdi);

/* The first thread dump of the process fetches the table. */
TEST_P(AgentTraceJvmdiTable, TableThatCannotBeHadIsToldAsTheDumpsError) {
    jthread handle = known_worker();
    sim.set_getenv(JVMDI_VERSION_1, -3);
    dump_thread(sim.env(), handle, JNI_FALSE);
    EXPECT_EQ(record("LogJVMDIthread", " Thread: Error encountered in trace -3\n"), log());
}

TEST_P(AgentTraceJvmdiTable, ClassAndMethodDumpsUseTheTableFetchedAtLoad) {
    sim.set_getenv(JVMDI_VERSION_1, -3);
    jclass clazz = sim.local<jclass>(foo);
    dump_class(clazz);
    dump_method(clazz, bar->id());
    EXPECT_EQ(class_record + method_records, log());
}

/* ---- Classes ---- */

TEST_P(AgentTrace, ClassIsDumped) {
    dump_class(sim.local<jclass>(foo));
    EXPECT_EQ(class_record, log());
    EXPECT_EQ(class_calls(), vm_calls());
}

TEST_P(AgentTrace, ClassStatusIsHexadecimal) {
    foo->status = 0x1a;
    dump_class(sim.local<jclass>(foo));
    EXPECT_EQ(record("LogJVMDIclass", "\n\tsignature = LFoo;\n\tstatus = 0x1a\n\tsourceName = Foo.java"), log());
}

TEST_P(AgentTrace, GenericClassSignatureIsARecordOfItsOwnOnJvmti) {
    foo->generic = "<T:Ljava/lang/Object;>Ljava/lang/Object;";
    dump_class(sim.local<jclass>(foo));
    const std::string generic = record("LogJVMDIclass", "\n\tgeneric = <T:Ljava/lang/Object;>Ljava/lang/Object;\n");
    EXPECT_EQ(class_record + (on_jvmdi() ? "" : generic), log());
    EXPECT_EQ(class_calls("Foo", on_jvmdi() ? 2 : 3), vm_calls());
}

TEST_P(AgentTrace, ClassWithoutASourceIsNotDescribed) {
    foo->source_file.reset();
    foo->generic = "<T:>";
    dump_class(sim.local<jclass>(foo));
    EXPECT_EQ(record("LogJVMDIclass", " Class: Error encountered in trace 101\n"), log());
    EXPECT_EQ(class_calls("Foo", on_jvmdi() ? 1 : 2), vm_calls());
}

TEST_P(AgentTrace, ClassStatusErrorIsToldBeforeTheRest) {
    jclass clazz = sim.local<jclass>(foo);
    EXPECT_EQ(record("LogJVMDIclass", " Class: Error encountered in trace 41\n") +
                  record("LogJVMDIclass", "\n\tsignature = LFoo;\n\tstatus = 0x0\n\tsourceName = Foo.java"),
              log_where_fails("GetClassStatus", [&] { dump_class(clazz); }));
    EXPECT_EQ(class_calls(), vm_calls());
}

TEST_P(AgentTrace, ClassSignatureErrorIsToldAndTheSourceIsStillReleased) {
    jclass clazz = sim.local<jclass>(foo);
    const std::string text = log_where_fails("GetClassSignature", [&] { dump_class(clazz); });
    const std::string error = record("LogJVMDIclass", " Class: Error encountered in trace 41\n");
    EXPECT_EQ(error, text.substr(0, error.size()));
    EXPECT_NE(std::string::npos, text.find("\n\tstatus = 0x7\n\tsourceName = Foo.java\n"));
    EXPECT_EQ(class_calls("Foo", 1), vm_calls());
}

TEST_P(AgentTrace, ClassTextsThatCannotBeReleasedAreTold) {
    jclass clazz = sim.local<jclass>(foo);
    blocks_kept = 2;
    const std::string error = record("LogJVMDIclass", " Class: Error encountered in trace 41\n");
    EXPECT_EQ(class_record + error + error, log_where_fails("Deallocate", [&] { dump_class(clazz); }));
}

/* ---- Methods ---- */

TEST_P(AgentTrace, MethodIsDumpedWithItsLines) {
    dump_method(sim.local<jclass>(foo), bar->id());
    EXPECT_EQ(method_records, log());
    EXPECT_EQ(method_calls(), vm_calls());
}

TEST_P(AgentTrace, GenericMethodSignatureIsARecordOfItsOwnOnJvmti) {
    bar->generic = "(TT;)V";
    dump_method(sim.local<jclass>(foo), bar->id());
    const std::string generic = on_jvmdi() ? "" : record("LogJVMDI", "generic = (TT;)V\n");
    EXPECT_EQ(method_name_record + generic + method_synthetic_record + method_range_record + method_line_records,
              log());
    texts expected = method_calls();
    if (!on_jvmdi()) expected.insert(expected.begin() + 4, deallocate());
    EXPECT_EQ(expected, vm_calls());
}

TEST_P(AgentTrace, LocationsAre64BitsWide) {
    bar->start = -1;
    bar->end = (jlocation)1 << 40;
    bar->lines = {{((jlocation)1 << 33) + 5, 65535}};
    dump_method(sim.local<jclass>(foo), bar->id());
    EXPECT_EQ(method_name_record + method_synthetic_record +
                  record("LogJVMDImethod", " Method: start = -1, end = 1099511627776\n") +
                  record("LogJVMDImethod", " Method: Line number: 65535 start_location: 8589934597\n"),
              log());
}

TEST_P(AgentTrace, NativeMethodHasNoLines) {
    bar->modifiers = 0x100;
    dump_method(sim.local<jclass>(foo), bar->id());
    const std::string range =
        on_jvmdi() ? " Method: start = -1, end = -1\n" : " Method: Error encountered in trace 104\n";
    EXPECT_EQ(record("LogJVMDI", " Method: name = bar, signature = (I)V, isNative = 1\n") + method_synthetic_record +
                  record("LogJVMDImethod", range),
              log());
    EXPECT_EQ(0u, sim.count_calls("*.GetLineNumberTable") + sim.count_calls("*.GetBytecodes"));
}

TEST_P(AgentTrace, SyntheticMethodHasNoLines) {
    bar->synthetic = true;
    dump_method(sim.local<jclass>(foo), bar->id());
    EXPECT_EQ(method_name_record +
                  record("LogJVMDImethod", " Method: name = bar, signature = (I)V, isSynthetic = 1\n") +
                  method_range_record,
              log());
    EXPECT_EQ(0u, sim.count_calls("*.GetLineNumberTable") + sim.count_calls("*.GetBytecodes"));
}

TEST_P(AgentTrace, EachMethodQueryTellsItsErrorInItsCategoryAndTheDumpGoesOn) {
    const std::string general = record("LogJVMDI", " Method: Error encountered in trace 41\n");
    const std::string error = record("LogJVMDImethod", " Method: Error encountered in trace 41\n");
    const std::string rest = method_synthetic_record + method_range_record + method_line_records;
    jclass clazz = sim.local<jclass>(foo);
    const auto dump = [&] { dump_method(clazz, bar->id()); };
    EXPECT_EQ(general + rest, log_where_fails("IsMethodNative", dump));
    EXPECT_EQ(method_name_record + error + method_range_record + method_line_records,
              log_where_fails("IsMethodSynthetic", dump));
    EXPECT_EQ(method_name_record + method_synthetic_record + error + method_line_records,
              log_where_fails("GetMethodLocation", dump));
    EXPECT_EQ(method_name_record + method_synthetic_record + method_range_record + error,
              log_where_fails("GetLineNumberTable", dump));
    EXPECT_EQ(method_records + error, log_where_fails("GetBytecodes", dump));
}

TEST_P(AgentTrace, MethodNameErrorIsToldUnderTheGeneralCategory) {
    jclass clazz = sim.local<jclass>(foo);
    const std::string text = log_where_fails("GetMethodName", [&] { dump_method(clazz, bar->id()); });
    const std::string error = record("LogJVMDI", " Method: Error encountered in trace 41\n");
    const std::string rest = method_range_record + method_line_records;
    EXPECT_EQ(error, text.substr(0, error.size()));
    EXPECT_EQ(rest, text.substr(text.size() - rest.size()));
    EXPECT_NE(std::string::npos, text.find(", isNative = 0\n"));
}

TEST_P(AgentTrace, MethodBlocksThatCannotBeReleasedAreTold) {
    jclass clazz = sim.local<jclass>(foo);
    blocks_kept = 4;
    const std::string error = record("LogJVMDImethod", " Method: Error encountered in trace 41\n");
    EXPECT_EQ(method_name_record + method_synthetic_record + method_range_record + error + error + method_line_records +
                  error + error,
              log_where_fails("Deallocate", [&] { dump_method(clazz, bar->id()); }));
}

TEST_P(AgentTrace, CategoryThatIsOffLosesItsTextOnly) {
    for (const char* name : {"LogJVMDI", "LogJVMDIthread", "LogJVMDIclass", "LogJVMDImethod", "LogJVMDIlocation"})
        log_disable(name);
    jthread handle = known_worker();
    jclass clazz = sim.local<jclass>(foo);
    sim.clear_calls();
    dump_thread(sim.env(), handle, JNI_TRUE);
    dump_class(clazz);
    dump_method(clazz, bar->id());
    dump_location(17);
    EXPECT_EQ("", log());
    EXPECT_EQ(joined({thread_calls(true), class_calls(), method_calls()}), vm_calls());
}

TEST_P(AgentTrace, MethodDumpIsSplitOverTwoCategories) {
    log_disable("LogJVMDI");
    dump_method(sim.local<jclass>(foo), bar->id());
    EXPECT_EQ(method_synthetic_record + method_range_record + method_line_records, log());
    log_enable("LogJVMDI", 0, 0);
    log_disable("LogJVMDImethod");
    dump_method(sim.local<jclass>(foo), bar->id());
    EXPECT_EQ(method_name_record, log());
}

/* ---- Locations and frames ---- */

TEST_P(AgentTrace, LocationIsDumpedInAll64Bits) {
    dump_location(((jlong)1 << 40) + 1);
    dump_location(-2);
    EXPECT_EQ(record("LogJVMDIlocation", " location = 1099511627777\n") +
                  record("LogJVMDIlocation", " location = -2\n"),
              log());
    EXPECT_EQ(texts{}, vm_calls());
}

TEST_P(AgentTrace, FrameHasNoDump) {
    dump_jframe();
    EXPECT_EQ("", log());
    EXPECT_EQ(texts{}, vm_calls());
}

/* What the VM gave, by its text, in the order in which `dump` gives it back. */
template <class Dump> static std::vector<std::string> given_back(sim::Sim& sim, Dump dump) {
    std::vector<std::pair<void*, std::string>> live;
    std::vector<std::string> order;
    const auto look = [&] {
        for (const auto& [address, text] : live)
            if (!sim.is_live_block(address) && std::find(order.begin(), order.end(), text) == order.end())
                order.push_back(text);
        live.clear();
        for (const sim::Block& block : sim.live_blocks())
            live.push_back({block.address,
                            std::string((const char*)block.address, strnlen((const char*)block.address, block.size))});
    };
    sim.before(sim.vm_name("Deallocate"), look);
    sim.before(sim.vm_name("GetLineNumberTable"), look); /* which may be given the memory of what went before */
    dump();
    look();
    return order;
}

TEST_P(AgentTrace, TextsOfAClassAreGivenBackInTheirOrder) {
    foo->generic = "<T:>";
    const std::vector<std::string> order = given_back(sim, [&] { dump_class(sim.local<jclass>(foo)); });
    EXPECT_EQ(on_jvmti() ? (std::vector<std::string>{"LFoo;", "Foo.java", "<T:>"})
                         : (std::vector<std::string>{"LFoo;", "Foo.java"}),
              order);
}

TEST_P(AgentTrace, TextsOfAMethodAreGivenBackInTheirOrder) {
    sim::Method& native = foo->add_method("nativeOne", "(J)V", 0x100);
    native.generic = "<U:>";
    const std::vector<std::string> order = given_back(sim, [&] { dump_method(sim.local<jclass>(foo), native.id()); });
    EXPECT_EQ(on_jvmti() ? (std::vector<std::string>{"(J)V", "nativeOne", "<U:>"})
                         : (std::vector<std::string>{"(J)V", "nativeOne"}),
              order);
}

TEST_P(AgentTrace, BytecodesAreGivenBackBeforeTheLines) {
    bar->lines = {{'L', 11}};
    bar->bytecodes = {'B', 'C'};
    const std::vector<std::string> order = given_back(sim, [&] { dump_method(sim.local<jclass>(foo), bar->id()); });
    EXPECT_EQ((std::vector<std::string>{"(I)V", "bar", "BC", "L"}), order);
}

TEST_P(AgentTrace, NameOfAGroupIsGivenBackBeforeThatOfItsThread) {
    const std::vector<std::string> order = given_back(sim, [&] { dump_thread(sim.env(), known_worker(), JNI_TRUE); });
    EXPECT_EQ((std::vector<std::string>{"workers", "worker"}), order);
}

TEST_P(AgentTrace, RecordsNameTheSourceOfTheDumps) {
    log_enable("LogJVMDIlocation", LOG_SRCLOC, 0);
    log_set_file_max(100);
    dump_location(17);
    const std::string text = log();
    const std::string start = "LogJVMDIlocation\"agent_trace.c\":";
    EXPECT_EQ(start, text.substr(0, start.size()));
}

/* ---- Events ---- */

struct AgentTraceEvents : AgentTrace {
    /* An event of `kind` whose data is filled by `fill`, dumped; gives the log. */
    template <class Fill> std::string dump(jint kind, Fill fill) {
        JVMDI_Event event = {};
        event.kind = kind;
        fill(event);
        sim.clear_calls();
        dump_jvmdi_event(sim.env(), &event);
        return log();
    }
    std::string dump(jint kind) {
        return dump(kind, [](JVMDI_Event&) {});
    }
};
SIM_ALL_MODES(AgentTraceEvents);

TEST_P(AgentTraceEvents, SingleStepAndBreakpointShowThreadClassMethodAndLocation) {
    jthread handle = known_worker();
    jclass clazz = sim.local<jclass>(foo);
    const std::string records = thread_record + group_record + class_record + method_records + location_record;
    const texts calls = joined({thread_calls(true), class_calls(), method_calls()});
    EXPECT_EQ(event_record("SINGLE_STEP") + records, dump(JVMDI_EVENT_SINGLE_STEP, [&](JVMDI_Event& event) {
                  event.u.single_step = {handle, clazz, bar->id(), 17};
              }));
    EXPECT_EQ(calls, vm_calls());
    EXPECT_EQ(event_record("BREAKPOINT") + records, dump(JVMDI_EVENT_BREAKPOINT, [&](JVMDI_Event& event) {
                  event.u.breakpoint = {handle, clazz, bar->id(), 17};
              }));
    EXPECT_EQ(calls, vm_calls());
}

TEST_P(AgentTraceEvents, FrameEventsShowMethodClassAndThread) {
    jthread handle = known_worker();
    jclass clazz = sim.local<jclass>(foo);
    const std::string records = method_records + class_record + thread_record + group_record;
    const struct {
        jint kind;
        const char* name;
    } frame_events[] = {{3, "FRAME_POP"}, {40, "METHOD_ENTRY"}, {41, "METHOD_EXIT"}};
    for (const auto& of : frame_events) {
        EXPECT_EQ(event_record(of.name) + records, dump(of.kind, [&](JVMDI_Event& event) {
                      event.u.frame = {handle, clazz, bar->id(), NULL};
                  }));
        EXPECT_EQ(joined({method_calls(), class_calls(), thread_calls(true)}), vm_calls());
    }
}

TEST_P(AgentTraceEvents, ExceptionEventsShowTheClassOfTheException) {
    sim::Class& failure = sim.new_class("Failure", &sim.class_named("java/lang/Exception"));
    sim::Object& thrown = sim.new_object(failure);
    jobject exception = sim.local<jobject>(&thrown);
    const std::string records =
        record("LogJVMDIclass", "\n\tsignature = LFailure;\n\tstatus = 0x7\n\tsourceName = Failure.java");
    const texts calls = joined({{"JNI.GetObjectClass(" + thrown.label + ")"}, class_calls("Failure")});
    EXPECT_EQ(event_record("EXCEPTION") + records,
              dump(JVMDI_EVENT_EXCEPTION, [&](JVMDI_Event& event) { event.u.exception.exception = exception; }));
    EXPECT_EQ(calls, vm_calls());
    EXPECT_EQ(event_record("EXCEPTION_CATCH") + records, dump(JVMDI_EVENT_EXCEPTION_CATCH, [&](JVMDI_Event& event) {
                  event.u.exception_catch.exception = exception;
              }));
    EXPECT_EQ(calls, vm_calls());
}

TEST_P(AgentTraceEvents, UserDefinedAndFieldEventsShowTheirNameOnly) {
    EXPECT_EQ(event_record("USER_DEFINED"), dump(JVMDI_EVENT_USER_DEFINED));
    EXPECT_EQ(event_record("FIELD_ACCESS"), dump(JVMDI_EVENT_FIELD_ACCESS));
    EXPECT_EQ(event_record("FIELD_MODIFICATION"), dump(JVMDI_EVENT_FIELD_MODIFICATION));
    EXPECT_EQ(texts{}, vm_calls());
}

TEST_P(AgentTraceEvents, ThreadStartShowsTheGroupAndThreadEndDoesNot) {
    jthread handle = known_worker();
    const auto fill = [&](JVMDI_Event& event) { event.u.thread_change.thread = handle; };
    EXPECT_EQ(event_record("THREAD_START") + thread_record + group_record, dump(JVMDI_EVENT_THREAD_START, fill));
    EXPECT_EQ(thread_calls(true), vm_calls());
    EXPECT_EQ(event_record("THREAD_END") + thread_record, dump(JVMDI_EVENT_THREAD_END, fill));
    EXPECT_EQ(thread_calls(false), vm_calls());
}

TEST_P(AgentTraceEvents, ClassEventsShowThreadAndClass) {
    jthread handle = known_worker();
    jclass clazz = sim.local<jclass>(foo);
    const auto fill = [&](JVMDI_Event& event) { event.u.class_event = {handle, clazz}; };
    const std::string records = thread_record + group_record + class_record;
    const texts calls = joined({thread_calls(true), class_calls()});
    EXPECT_EQ(event_record("CLASS_PREPARE") + records, dump(JVMDI_EVENT_CLASS_PREPARE, fill));
    EXPECT_EQ(calls, vm_calls());
    EXPECT_EQ(event_record("CLASS_UNLOAD") + records, dump(JVMDI_EVENT_CLASS_UNLOAD, fill));
    EXPECT_EQ(calls, vm_calls());
    EXPECT_EQ(event_record("CLASS_LOAD") + records, dump(JVMDI_EVENT_CLASS_LOAD, fill));
    EXPECT_EQ(calls, vm_calls());
}

TEST_P(AgentTraceEvents, KindsWithoutADumpAreUnknownEvenWithAName) {
    const std::string unknown = record("LogJVMDI", " Unknown event occurred\n");
    EXPECT_EQ(event_record("UNKNOWN 11") + unknown, dump(11));
    EXPECT_EQ(event_record("VM_INIT") + unknown, dump(JVMDI_EVENT_VM_INIT));
    EXPECT_EQ(event_record("VM_DEATH") + unknown, dump(JVMDI_EVENT_VM_DEATH));
    EXPECT_EQ(texts{}, vm_calls());
}

TEST_P(AgentTraceEvents, EventNameNeedsTheGeneralCategory) {
    log_disable("LogJVMDI");
    EXPECT_EQ("", dump(JVMDI_EVENT_VM_INIT));
}

TEST_P(AgentTraceEvents, JvmpiEventShowsItsNameUnderTheGeneralCategory) {
    JVMPI_Event event = {60, NULL};
    log_enable("LogJVMPI", 0, 0);
    dump_jvmpi_event(NULL, &event);
    EXPECT_EQ(event_record("GC_START"), log());
    log_disable("LogJVMDI");
    dump_jvmpi_event(NULL, &event);
    EXPECT_EQ("", log());
}
