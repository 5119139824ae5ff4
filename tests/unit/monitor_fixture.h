/* monitor_fixture.h: what the tests of monitors share: a known thread, two monitors, and capabilities to take away. */
#ifndef QUOR_TEST_MONITOR_FIXTURE_H
#define QUOR_TEST_MONITOR_FIXTURE_H

#include "entry_fixture.h"

struct MonitorTest : EntryTest {
    sim::Thread& worker = sim.new_thread("worker");
    jobject handle = know(worker, 4242);
    sim::Object& lock = labelled("lock");
    sim::Object& gate = labelled("gate");

    sim::Object& labelled(const char* label) {
        sim::Object& object = sim.new_object();
        object.label = label;
        return object;
    }
    /* Runs `check` without each of the capabilities in turn, of the interface with these. */
    template <class Capabilities, class Check> void without_each_capability(Capabilities& features, Check check) {
        const Capabilities all = features;
        for (int missing = 0; missing < 3; missing++) {
            SCOPED_TRACE(missing);
            features.can_get_owned_monitor_info = missing != 0;
            features.can_get_current_contended_monitor = missing != 1;
            features.can_get_monitor_info = missing != 2;
            sim.clear_calls();
            check();
            features = all;
        }
    }
    template <class Check> void without_each_capability(Check check) {
        if (on_jvmdi())
            without_each_capability(jvmdi_features, check);
        else
            without_each_capability(jvmti_features, check);
    }
    /* Makes JVMDI present beside JVMTI, with these capabilities. */
    void add_jvmdi(JVMDI_capabilities features) {
        jvmdi = sim.jvmdi();
        jvmdi_features = features;
    }
    bool handed_out_globally(jobject reference) { return sim.is_global(reference) == !(on_jvmti() && !newer()); }
};

#endif
