/* The filters of exception events and of classes: what they let through, how they are armed, set and cleared. */

#include "event/filters.h"

#include "kept_blocks.h"
#include "query_fixture.h"

#include <atomic>

using sim::capture_stdout;

enum { FAILS = JVMDI_ERROR_OPAQUE_FRAME };

struct FilterList : QueryTest {
    FilterList()
        : env(sim.env()), foo(sim.new_class("Foo")), other(sim.new_class("Other")), bar(foo.add_method("bar", "()V")),
          second(foo.add_method("second", "()V")), run(other.add_method("run", "()V")),
          error(sim.new_exception("java/lang/Error")), thrown(sim.local(&error)), watched(sim.global<jclass>(&foo)),
          earlier_blocks(sim.live_blocks().size()) {
        sim.clear_calls();
    }
    ~FilterList() override { keep_blocks_reachable(sim); } /* nothing clears a filter of caught exceptions */

    /* Filters by name; a filter for exceptions that leave Foo.bar. */
    jint set(uint32_t kind, const char* class_name) { return event_setfilter_br(env, kind, class_name, NULL, NULL); }
    jint clear(uint32_t kind, const char* class_name) {
        return event_clearfilter_br(env, kind, class_name, NULL, NULL);
    }
    jint watch() { return event_setfilter_ex(env, FILTER_UNCAUGHT, (uintptr_t)watched, (uintptr_t)bar.id()); }
    jint unwatch(uint32_t kind) { return event_clearfilter_ex(env, kind, (uintptr_t)watched, (uintptr_t)bar.id()); }

    /* An exception of `method`, caught in `catcher`. */
    jint passes_throw(sim::Method& method, sim::Method* catcher, jobject exception, bool names_classes) {
        JVMDI_Event event = {};
        event.kind = JVMDI_EVENT_EXCEPTION;
        event.u.exception.method = method.id();
        event.u.exception.exception = exception;
        event.u.exception.catch_method = catcher ? catcher->id() : nullptr;
        if (names_classes) {
            event.u.exception.clazz = sim.local<jclass>(method.owner);
            event.u.exception.catch_clazz = sim.local<jclass>(catcher ? catcher->owner : nullptr);
        }
        return filter_jvmdi_event_throw(sim.env(), &event);
    }
    /* JVMTI's events come without the classes; that of an old VM has them here, for the rule that they decide. */
    jint passes_throw(sim::Method& method, sim::Method* catcher, jobject exception) {
        return passes_throw(method, catcher, exception, !newer());
    }
    jint passes_throw() { return passes_throw(bar, &run, thrown); }
    jint passes_catch(jobject exception) {
        JVMDI_Event event = {};
        event.kind = JVMDI_EVENT_EXCEPTION_CATCH;
        event.u.exception_catch.method = run.id();
        event.u.exception_catch.exception = exception;
        return filter_jvmdi_event_catch(sim.env(), &event);
    }
    jint passes_catch() { return passes_catch(thrown); }
    jint passes_class(sim::Class& clazz) {
        JVMDI_Event event = {};
        event.kind = JVMDI_EVENT_CLASS_LOAD;
        event.u.class_event.clazz = sim.local<jclass>(&clazz);
        return filter_jvmdi_event_br(env, &event);
    }

    size_t filters() { return sim.live_blocks().size() - earlier_blocks; }

    JNIEnv* env;
    sim::Class& foo;
    sim::Class& other;
    sim::Method &bar, &second, &run; /* Foo.bar, Foo.second, Other.run */
    sim::Object& error;              /* a java/lang/Error */
    jobject thrown;
    jclass watched;
    const size_t earlier_blocks;
};
SIM_ALL_MODES(FilterList);

TEST_P(FilterList, OfClassLoadsWithoutANamePassesEveryClass) {
    EXPECT_EQ(0, passes_class(foo));
    set(FILTER_CLASSLOAD, NULL);
    EXPECT_EQ(1, passes_class(foo));
    EXPECT_EQ(1, passes_class(other));
    EXPECT_EQ(0u, sim.count_calls("*.GetClassSignature")) << "no name, no question";
    clear(FILTER_CLASSLOAD, "");
    EXPECT_EQ(1, passes_class(foo)) << "none and an empty one are two names";
    clear(FILTER_CLASSLOAD, NULL);
    EXPECT_EQ(0, passes_class(foo));
}

/* ---- What is delivered ---- */

TEST_P(FilterList, ThatIsEmptyDropsEveryEvent) {
    EXPECT_EQ(0, passes_throw());
    EXPECT_EQ(0, passes_catch());
    EXPECT_EQ(0, passes_class(foo));
    EXPECT_CALLS(sim.calls());
}

TEST_P(FilterList, DeliversEachEventByTheKindsMadeForIt) {
    const struct {
        uint32_t kind;
        jint thrown, caught, loaded;
    } cases[] = {
        {FILTER_CLASSLOAD, 0, 0, 1}, {FILTER_METHOD, 0, 0, 1}, {FILTER_THROWN, 1, 0, 0}, {FILTER_CAUGHT, 0, 1, 0}};
    for (const auto& each : cases) {
        set(each.kind, "");
        EXPECT_EQ(each.thrown, passes_throw()) << each.kind;
        EXPECT_EQ(each.caught, passes_catch()) << each.kind;
        EXPECT_EQ(each.loaded, passes_class(foo)) << each.kind;
        if (each.kind == FILTER_METHOD)
            event_clearfilter_br(env, each.kind, "", NULL, NULL);
        else
            clear(each.kind, "");
        if (each.kind == FILTER_CAUGHT) break; /* nothing clears this kind: the last */
        EXPECT_EQ(0u, filters());
    }
}

TEST_P(FilterList, EmptyClassNameDeliversEveryExceptionEvenNone) {
    for (const char* name : {(const char*)nullptr, ""}) {
        set(FILTER_THROWN, name);
        EXPECT_EQ(1, passes_throw());
        EXPECT_EQ(1, passes_throw(bar, nullptr, nullptr));
        clear(FILTER_THROWN, name);
        EXPECT_EQ(0, passes_throw());
    }
    set(FILTER_CAUGHT, NULL);
    EXPECT_EQ(1, passes_catch());
    EXPECT_EQ(1, passes_catch(nullptr));
    EXPECT_EQ(0u, sim.count_calls("JNI.GetObjectClass"));
}

TEST_P(FilterList, ClassNameIsTheExceptionsOwnAndCompleteInTheVmsForm) {
    const struct {
        const char* name;
        jint passes;
    } cases[] = {{"java/lang/Error", 1}, {"java.lang.Error", 0},     {"java/lang/Erro", 0},    {"java/lang/Error2", 0},
                 {"java/lang/*", 0},     {"java/lang/Throwable", 0}, {"Ljava/lang/Error;", 0}, {"Error", 0}};
    for (const auto& each : cases) {
        set(FILTER_THROWN, each.name);
        EXPECT_EQ(each.passes, passes_throw()) << each.name;
        EXPECT_EQ(0, passes_throw(bar, &run, nullptr)) << each.name;
        clear(FILTER_THROWN, each.name);
    }
    set(FILTER_CAUGHT, "java/lang/Exception");
    EXPECT_EQ(0, passes_catch());
    EXPECT_EQ(0, passes_catch(nullptr));
    set(FILTER_CAUGHT, "java/lang/Error");
    EXPECT_EQ(1, passes_catch());
}

TEST_P(FilterList, IsWalkedFromTheNewestFilterToTheFirstThatDelivers) {
    set(FILTER_THROWN, "Other");
    set(FILTER_THROWN, "java/lang/Error");
    EXPECT_EQ(1, passes_throw());
    EXPECT_EQ(1u, sim.count_calls("JV*.GetClassSignature"));
    set(FILTER_THROWN, "Other");
    sim.clear_calls();
    EXPECT_EQ(1, passes_throw());
    EXPECT_EQ(2u, sim.count_calls("JV*.GetClassSignature"));
}

TEST_P(FilterList, AsksForTheClassOfTheException) {
    set(FILTER_THROWN, "java/lang/Error");
    passes_throw();
    sim.clear_calls(); /* the first use of JVMDI fetches its table */
    EXPECT_EQ(1, passes_throw());
    EXPECT_CALLS(sim.calls(), "JNI.GetObjectClass(" + error.label + ")",
                 sim.vm_name("GetClassSignature(java/lang/Error)"), sim.vm_name("Deallocate()"));
}

/* ---- Exceptions that leave a method ---- */

TEST_P(FilterList, ExceptionThatLeavesTheMethodIsShownWhenItIsCaught) {
    watch();
    EXPECT_EQ(0, passes_catch());
    EXPECT_EQ(0, passes_throw()) << "arming does not deliver";
    EXPECT_EQ(1, passes_catch());
    EXPECT_EQ(1, passes_catch()) << "it stays armed";
    EXPECT_EQ(1, passes_catch(sim.local(&error))) << "another reference to the same object";
    EXPECT_EQ(0, passes_catch(sim.local(&sim.new_exception("java/lang/Error"))));
    EXPECT_EQ(0, passes_catch(nullptr));
}

TEST_P(FilterList, OnlyAnExceptionThatLeavesTheWatchedMethodArms) {
    sim::Object& quiet = sim.new_exception("java/lang/Error");
    const struct {
        const char* what;
        sim::Method *method, *catcher;
        jint arms;
    } cases[] = {{"caught in the method itself", &bar, &bar, 0},
                 {"caught in another method of the class", &bar, &second, 0},
                 {"thrown in another method of the class", &second, &run, 0},
                 {"thrown in another class", &run, &bar, 0},
                 {"caught in another class", &bar, &run, 1},
                 {"caught nowhere", &bar, nullptr, 1}};
    for (const auto& each : cases) {
        watch();
        EXPECT_EQ(0, passes_throw(*each.method, each.catcher, thrown)) << each.what;
        EXPECT_EQ(each.arms, passes_catch()) << each.what;
        EXPECT_EQ(0, passes_catch(sim.local(&quiet)));
        unwatch(each.arms ? FILTER_UNCAUGHT_ARMED : FILTER_UNCAUGHT);
    }
}

TEST_P(FilterList, ClassOfTheWatchedMethodCountsToo) {
    event_setfilter_ex(env, FILTER_UNCAUGHT, (uintptr_t)sim.global<jclass>(&other), (uintptr_t)bar.id());
    passes_throw();
    EXPECT_EQ(0, passes_catch());
}

TEST_P(FilterList, MethodThatCatchesItsOwnExceptionArmsNothingWhateverClassesTheEventNames) {
    watch();
    JVMDI_Event event = {};
    event.kind = JVMDI_EVENT_EXCEPTION;
    event.u.exception.clazz = sim.local<jclass>(&foo);
    event.u.exception.method = event.u.exception.catch_method = bar.id();
    event.u.exception.catch_clazz = sim.local<jclass>(&other);
    event.u.exception.exception = thrown;
    EXPECT_EQ(0, filter_jvmdi_event_throw(env, &event));
    EXPECT_EQ(0, passes_catch());
}

TEST_P(FilterList, ClassesThatAnEventDoesNotNameAreAskedOfNewerVmsOnly) {
    watch();
    EXPECT_EQ(0, passes_throw(bar, &run, thrown, false));
    if (newer())
        EXPECT_CALLS(sim.calls_of({"JV*.GetMethodDeclaringClass"}), "JVMTI.GetMethodDeclaringClass(Foo.bar)",
                     "JVMTI.GetMethodDeclaringClass(Other.run)");
    else
        EXPECT_CALLS(sim.calls_of({"JV*.GetMethodDeclaringClass"}));
    EXPECT_EQ(newer() ? 1 : 0, passes_catch()) << "without them nothing is armed";
}

TEST_P(FilterList, ClassesThatAnEventNamesAreNotAskedFor) {
    watch();
    EXPECT_EQ(0, passes_throw(bar, &run, thrown, true));
    EXPECT_CALLS(sim.calls_of({"JV*.GetMethodDeclaringClass"}));
    EXPECT_EQ(1, passes_catch());
}

TEST_P(FilterList, MethodWhoseClassCannotBeHadArmsNothing) {
    watch();
    sim.fail("JVMTI.GetMethodDeclaringClass", FAILS);
    EXPECT_EQ("", capture_stdout([&] { passes_throw(); }));
    EXPECT_EQ(newer() ? 0 : 1, passes_catch());
}

TEST_P(FilterList, ArmingGoesOnToTheOlderFilters) {
    set(FILTER_THROWN, "java/lang/Error");
    watch();
    EXPECT_EQ(1, passes_throw());
    EXPECT_EQ(1, passes_catch());
}

TEST_P(FilterList, DeliveringStopsBeforeTheOlderFilters) {
    watch();
    set(FILTER_THROWN, "java/lang/Error");
    EXPECT_EQ(1, passes_throw());
    EXPECT_EQ(0, passes_catch()) << "it was not armed";
}

TEST_P(FilterList, RemembersTheExceptionBeyondTheReferenceThatItCameWith) {
    watch();
    sim.run_on(sim.new_thread("thrower"), [&] {
        sim.in_event([&] { passes_throw(bar, &run, sim.local(&error)); });
        sim.in_event([&] { EXPECT_EQ(1, passes_catch(sim.local(&error))); });
    });
    EXPECT_NE(nullptr, URef_find(env, thrown));
}

TEST_P(FilterList, ArmedFilterIsNotFoundAsTheKindThatWasSet) {
    watch();
    passes_throw();
    EXPECT_EQ(0, unwatch(FILTER_UNCAUGHT));
    EXPECT_EQ(1, passes_catch());
}

TEST_P(FilterList, ClearedArmedFilterForgetsItsException) {
    watch();
    passes_throw();
    const jobject uref = URef_find(env, thrown);
    EXPECT_TRUE(sim.is_global(uref));
    sim.clear_calls();
    EXPECT_EQ(0, unwatch(FILTER_UNCAUGHT_ARMED));
    EXPECT_EQ(0, passes_catch());
    EXPECT_EQ(nullptr, sim.object(uref));
    EXPECT_EQ(nullptr, URef_find(env, thrown));
    EXPECT_EQ(0u, filters());
    EXPECT_EQ(1u, sim.count_calls("JNI.DeleteGlobalRef"));
}

/* ---- Setting and clearing ---- */

TEST_P(FilterList, EntryIsFiveWordsOfVmMemory) {
    const std::string allocation = sim.vm_name("Allocate(" + std::to_string(5 * sizeof(void*)) + ")");
    EXPECT_EQ(0, set(FILTER_THROWN, "Foo"));
    EXPECT_EQ(0, watch());
    EXPECT_CALLS(sim.calls(), allocation, allocation);
    sim.clear_calls();
    clear(FILTER_THROWN, "Foo");
    unwatch(FILTER_UNCAUGHT);
    EXPECT_CALLS(sim.calls(), sim.vm_name("Deallocate()"), sim.vm_name("Deallocate()"));
}

TEST_P(FilterList, KeepsCopiesOfItsTexts) {
    char class_name[] = "Foo", method_name[] = "bar", signature[] = "()";
    event_setfilter_br(env, FILTER_CLASSLOAD, class_name, NULL, NULL);
    class_name[0] = 'X';
    EXPECT_EQ(1, passes_class(foo));
    clear(FILTER_CLASSLOAD, "Foo");
    event_setfilter_br(env, FILTER_METHOD, NULL, method_name, signature);
    method_name[0] = signature[0] = 'X';
    EXPECT_EQ(1, passes_class(foo));
}

TEST_P(FilterList, FilterSetTwiceAndClearedOnceIsStillThere) {
    set(FILTER_THROWN, "java/lang/Error");
    set(FILTER_THROWN, "java/lang/Error");
    EXPECT_EQ(2u, filters());
    EXPECT_EQ(0, clear(FILTER_THROWN, "java/lang/Error"));
    EXPECT_EQ(1u, filters());
    EXPECT_EQ(1, passes_throw());
    EXPECT_EQ(0, clear(FILTER_THROWN, "java/lang/Error"));
    EXPECT_EQ(0u, filters());
    EXPECT_EQ(0, passes_throw());
    EXPECT_EQ(0, clear(FILTER_THROWN, "java/lang/Error")) << "nothing to clear is no error";
}

TEST_P(FilterList, FilterInTheMiddleIsTakenOutOfItsChain) {
    for (const char* name : {"A", "java/lang/Error", "B"}) set(FILTER_THROWN, name);
    clear(FILTER_THROWN, "java/lang/Error");
    EXPECT_EQ(0, passes_throw());
    for (const char* name : {"A", "B"}) clear(FILTER_THROWN, name);
    EXPECT_EQ(0u, filters());
}

TEST_P(FilterList, NamedFilterIsClearedByItsKindAndTheTextsOfItsKind) {
    const struct {
        uint32_t kind;
        const char *class_name, *method_name, *signature;
        uint32_t cleared_kind;
        const char *cleared_class, *cleared_method, *cleared_signature;
        bool is_cleared;
    } cases[] = {
        {FILTER_THROWN, "A", NULL, NULL, FILTER_THROWN, "A", "m", "()", true},
        {FILTER_THROWN, "A", NULL, NULL, FILTER_THROWN, "B", NULL, NULL, false},
        {FILTER_THROWN, "A", NULL, NULL, FILTER_THROWN, NULL, NULL, NULL, false},
        {FILTER_THROWN, NULL, NULL, NULL, FILTER_THROWN, "A", NULL, NULL, false},
        {FILTER_THROWN, NULL, NULL, NULL, FILTER_THROWN, "", NULL, NULL, false},
        {FILTER_THROWN, NULL, NULL, NULL, FILTER_THROWN, NULL, NULL, NULL, true},
        {FILTER_THROWN, "A", NULL, NULL, FILTER_CLASSLOAD, "A", NULL, NULL, false},
        {FILTER_CLASSLOAD, "A", NULL, NULL, FILTER_CLASSLOAD, "A", NULL, "()", true},
        {FILTER_CLASSLOAD, "A", NULL, NULL, FILTER_THROWN, "A", NULL, NULL, false},
        {FILTER_METHOD, NULL, "m", "()", FILTER_METHOD, "A", "m", "()", true},
        {FILTER_METHOD, NULL, "m", "()", FILTER_METHOD, NULL, "n", "()", false},
        {FILTER_METHOD, NULL, "m", "()", FILTER_METHOD, NULL, "m", "(I)", false},
        {FILTER_METHOD, NULL, "m", "()", FILTER_METHOD, NULL, "m", NULL, false},
        {FILTER_METHOD, NULL, "m", NULL, FILTER_METHOD, NULL, "m", NULL, true},
    };
    size_t left = 0;
    for (const auto& each : cases) {
        event_setfilter_br(env, each.kind, each.class_name, each.method_name, each.signature);
        EXPECT_EQ(0, event_clearfilter_br(env, each.cleared_kind, each.cleared_class, each.cleared_method,
                                          each.cleared_signature));
        EXPECT_EQ(left + !each.is_cleared, filters()) << &each - cases;
        event_clearfilter_br(env, each.kind, each.class_name, each.method_name, each.signature);
        EXPECT_EQ(left, filters()) << &each - cases;
    }
}

TEST_P(FilterList, RawFilterIsClearedByItsKindAndBothValues) {
    event_setfilter_ex(env, FILTER_UNCAUGHT, 1, 2);
    const uintptr_t others[][3] = {{FILTER_UNCAUGHT, 1, 3}, {FILTER_UNCAUGHT, 3, 2}, {FILTER_UNCAUGHT_ARMED, 1, 2}};
    for (const auto& each : others) EXPECT_EQ(0, event_clearfilter_ex(env, (uint32_t)each[0], each[1], each[2]));
    EXPECT_EQ(0, event_clearfilter_br(env, FILTER_UNCAUGHT, NULL, NULL, NULL));
    EXPECT_EQ(1u, filters());
    sim.clear_calls();
    EXPECT_EQ(0, event_clearfilter_ex(env, FILTER_UNCAUGHT, 1, 2));
    EXPECT_CALLS(sim.calls(), sim.vm_name("Deallocate()"));
}

TEST_P(FilterList, FilterThatFindsNoMemoryIsNotThere) {
    sim.fail(sim.vm_name("Allocate"), JVMDI_ERROR_OUT_OF_MEMORY);
    EXPECT_EQ("event_setfilter: Allocate failed -- OUT_OF_MEMORY\n", capture_stdout([&] {
                  EXPECT_EQ(JVMDI_ERROR_OUT_OF_MEMORY, event_setfilter_br(env, FILTER_THROWN, "", "m", "()"));
              }));
    EXPECT_EQ("event_setfilter: Allocate failed -- OUT_OF_MEMORY\n",
              capture_stdout([&] { EXPECT_EQ(JVMDI_ERROR_OUT_OF_MEMORY, watch()); }));
    EXPECT_EQ(0, passes_throw());
    sim.stop_failing(sim.vm_name("Allocate"));
    EXPECT_EQ(0, passes_catch());
}

/* ---- Filters that are cleared during a walk ---- */

/* A thread that is held by the VM while it asks for a class's signature in the middle of a walk. */
struct FilterWalk : FilterList {
    FilterWalk() {
        sim.before(sim.vm_name("GetClassSignature"), [this] {
            if (sim.this_thread() == sim.main_thread || inside.exchange(true)) return;
            EXPECT_TRUE(sim::wait_for([this] { return released.load(); }));
        });
    }
    void begin() {
        walking =
            sim.start(sim.new_thread("walker"), [this] { delivered = passes_throw(bar, &run, sim.local(&error)); });
        ASSERT_TRUE(sim::wait_for([this] { return inside.load(); }));
    }
    jint end() {
        released = true;
        walking->join();
        return delivered;
    }
    std::unique_ptr<sim::Running> walking;
    std::atomic<bool> inside = false, released = false;
    jint delivered = -1;
};
SIM_ALL_MODES(FilterWalk);

TEST_P(FilterWalk, KeepsTheFilterThatItStandsOnUntilNobodyWalks) {
    set(FILTER_THROWN, "java/lang/Error");
    begin();
    clear(FILTER_THROWN, "java/lang/Error");
    EXPECT_EQ(0u, sim.count_calls("JV*.Deallocate"));
    EXPECT_EQ(1, end()) << "it had met the filter before";
    EXPECT_EQ(0u, filters()) << "the walker was the last";
    EXPECT_EQ(0, passes_throw());
}

TEST_P(FilterWalk, GoesOnToTheOlderFiltersWhenItsOwnWasCleared) {
    set(FILTER_THROWN, "java/lang/Error");
    set(FILTER_THROWN, "Other");
    begin();
    clear(FILTER_THROWN, "Other");
    EXPECT_EQ(1, end());
}

TEST_P(FilterWalk, DoesNotMeetAFilterThatWasClearedBeforeItCameThere) {
    set(FILTER_THROWN, "java/lang/Error");
    set(FILTER_THROWN, "Other");
    begin();
    clear(FILTER_THROWN, "java/lang/Error");
    EXPECT_EQ(0, end());
    EXPECT_EQ(1u, filters()) << "the one for Other";
}

TEST_P(FilterWalk, MeetsNoFilterThatWasClearedBeforeItBegan) {
    set(FILTER_THROWN, "Other");
    begin();
    set(FILTER_THROWN, "java/lang/Error");
    clear(FILTER_THROWN, "java/lang/Error");
    clear(FILTER_THROWN, "Other");
    EXPECT_EQ(2u, filters());
    EXPECT_EQ(0, passes_throw());
    EXPECT_EQ(2u, filters()) << "another walk ended, not the last";
    EXPECT_EQ(0, end());
    EXPECT_EQ(0u, filters());
}

TEST_P(FilterWalk, KeepsTheExceptionOfAnArmedFilterUntilNobodyWalks) {
    watch();
    passes_throw();
    set(FILTER_THROWN, "java/lang/Error");
    begin();
    unwatch(FILTER_UNCAUGHT_ARMED);
    EXPECT_EQ(0, passes_catch());
    EXPECT_NE(nullptr, URef_find(env, thrown));
    end();
    EXPECT_EQ(nullptr, URef_find(env, thrown));
}

/* ---- Names of classes ---- */

TEST_P(FilterList, ClassHasItsNameBetweenTheFirstLetterAndTheSemicolon) {
    const struct {
        const char *clazz, *name;
        jint same;
    } cases[] = {{"Foo", "Foo", 1},   {"Foo", "Fo", 0},
                 {"Foo", "LFoo;", 0}, {"java/lang/Object", "java/lang/Object", 1},
                 {"[I", "[I", 1},     {"[Ljava/lang/String;", "[Ljava/lang/String;", 1},
                 {"[I", "I", 0},      {"[Ljava/lang/String;", "java/lang/String", 0}};
    for (const auto& each : cases)
        EXPECT_EQ(each.same, same_classname(env, each.name, sim.local<jclass>(&sim.class_named(each.clazz))))
            << each.clazz << " " << each.name;
    EXPECT_EQ(0u, filters()) << "every signature is given back";
}

TEST_P(FilterList, SignatureThatCannotBeHadIsNoMatch) {
    sim.fail(sim.vm_name("GetClassSignature"), FAILS);
    EXPECT_EQ("same_classname:GetClassSignature failed -- OPAQUE_FRAME\n",
              capture_stdout([&] { EXPECT_EQ(0, same_classname(env, "Foo", watched)); }));
}

TEST_P(FilterList, SignatureThatCannotBeGivenBackIsReportedAndCompared) {
    sim.fail(sim.vm_name("Deallocate"), FAILS);
    EXPECT_EQ("same_classname: Deallocate failed -- OPAQUE_FRAME\n",
              capture_stdout([&] { EXPECT_EQ(1, same_classname(env, "Foo", watched)); }));
}

/* ---- Methods by name ---- */

struct MethodByName : FilterList {
    MethodByName() {
        add("number", "(I)V");
        add("number", "(I)I");
        add("number", "(J)V");
        add("shape", "()V", 0x401);
        add("shape", "(I)V");
    }
    void add(const char* name, const char* signature, jint modifiers = 1) {
        methods.push_back(&foo.add_method(name, signature, modifiers));
    }
    jmethodID find(const char* name, const char* signature) { return method_exists(env, watched, name, signature); }
    std::vector<sim::Method*> methods;
};
SIM_ALL_MODES(MethodByName);

TEST_P(MethodByName, IsTheFirstWhoseSignatureBeginsSo) {
    const struct {
        const char *name, *signature;
        int method; /* -1: none */
    } cases[] = {{"number", "(I)V", 0}, {"number", "(I)", 0},  {"number", "(I)I", 1}, {"number", "(J)", 2},
                 {"number", "", 0},     {"number", NULL, 0},   {"number", "()", -1},  {"number", "(I)VV", -1},
                 {"numbe", "(I)V", -1}, {"numbers", NULL, -1}, {"", NULL, -1},        {"shape", "(I)", 4}};
    for (const auto& each : cases)
        EXPECT_EQ(each.method < 0 ? nullptr : methods[(size_t)each.method]->id(), find(each.name, each.signature))
            << &each - cases;
}

TEST_P(MethodByName, IsNoneWhenTheFirstIsAbstract) {
    EXPECT_EQ(nullptr, find("shape", "()"));
    EXPECT_EQ(nullptr, find("shape", NULL)) << "the second is not looked at";
    methods[3]->modifiers = 1;
    EXPECT_EQ(methods[3]->id(), find("shape", NULL));
}

TEST_P(MethodByName, IsNotLookedForInAnInterface) {
    foo.is_interface = true;
    find("number", NULL);
    sim.clear_calls();
    EXPECT_EQ(nullptr, find("number", NULL));
    EXPECT_CALLS(sim.calls(), sim.vm_name("IsInterface(Foo)"));
    foo.is_interface = false;
    sim.fail(sim.vm_name("IsInterface"), FAILS);
    EXPECT_EQ("", capture_stdout([&] { EXPECT_EQ(nullptr, find("number", NULL)); }));
}

TEST_P(MethodByName, MakesTheseCallsUpToTheFirstMatch) {
    find("number", NULL);
    sim.clear_calls();
    find("number", NULL);
    strings expected = {"IsInterface(Foo)", "GetClassMethods(Foo)"};
    const std::string clazz = on_jvmdi() ? "Foo, " : "";
    for (const char* method : {"Foo.bar", "Foo.second", "Foo.number"}) {
        expected.push_back("GetMethodName(" + clazz + method + ")");
        expected.insert(expected.end(), {"Deallocate()", "Deallocate()"});
    }
    expected.push_back("GetMethodModifiers(" + clazz + "Foo.number)");
    if (newer()) expected.push_back("Deallocate()"); /* the list of methods, which old VMs are left with */
    EXPECT_EQ(vm_calls(expected), sim.calls());
    for (const sim::Block& block : sim.live_blocks()) {
        EXPECT_NE(sim.vm_name("GetMethodName"), block.origin);
        EXPECT_NE(newer() ? "JVMTI.GetClassMethods" : "", block.origin);
    }
}

TEST_P(MethodByName, FailuresGiveNone) {
    const struct {
        const char *function, *printed;
    } cases[] = {{"GetClassMethods", "method_exists: GetClassMethods failed -- OPAQUE_FRAME\n"},
                 {"GetMethodName", ""},
                 {"GetMethodModifiers", ""}};
    for (const auto& each : cases) {
        sim.fail(sim.vm_name(each.function), FAILS);
        EXPECT_EQ(each.printed, capture_stdout([&] { EXPECT_EQ(nullptr, find("number", NULL)); })) << each.function;
        sim.stop_failing(sim.vm_name(each.function));
    }
}

TEST_P(MethodByName, TextThatCannotBeGivenBackIsReported) {
    const std::string line = "method_exists: Deallocate failed -- OPAQUE_FRAME\n";
    sim.fail(sim.vm_name("Deallocate"), FAILS);
    EXPECT_EQ(line + line + (newer() ? line : ""), capture_stdout([&] { EXPECT_EQ(bar.id(), find("bar", NULL)); }));
}

TEST_P(MethodByName, SelectsTheClassesThatHaveIt) {
    const struct {
        const char *name, *signature;
        jint foo, other;
    } cases[] = {
        {"number", "(I)", 1, 0}, {"run", NULL, 0, 1}, {"number", "(D)", 0, 0}, {NULL, "(D)", 1, 1}, {"", NULL, 1, 1}};
    for (const auto& each : cases) {
        event_setfilter_br(env, FILTER_METHOD, NULL, each.name, each.signature);
        EXPECT_EQ(each.foo, passes_class(foo)) << &each - cases;
        EXPECT_EQ(each.other, passes_class(other)) << &each - cases;
        event_clearfilter_br(env, FILTER_METHOD, NULL, each.name, each.signature);
    }
}
