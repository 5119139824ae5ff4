/* scenarios.h: the scenarios, by subject; main.cpp lists them. */
#ifndef QUOR_STRESS_SCENARIOS_H
#define QUOR_STRESS_SCENARIOS_H

#include "scenario.h"

/* scenarios_stops.cpp */
void nothing_but_stops(const surroundings& around, report& found);
void queries_racing_with_resume(const surroundings& around, report& found);
void eight_threads_into_one_fresh_class(const surroundings& around, report& found);
void churn_of_threads(const surroundings& around, report& found);
void control_c_under_load(const surroundings& around, report& found);

/* scenarios_invoke.cpp */
void invocation_with_others_queued(const surroundings& around, report& found);
void invocation_with_one_other(const surroundings& around, report& found);
void invocation_at_every_kind_of_stop(const surroundings& around, report& found);

/* scenarios_ends.cpp */
void death_by_exit(const surroundings& around, report& found);
void death_by_return(const surroundings& around, report& found);
void death_with_a_log(const surroundings& around, report& found);
void attach_and_detach_under_load(const surroundings& around, report& found);
void debugger_comes_late(const surroundings& around, report& found);
void debugger_killed_at_each_stage(const surroundings& around, report& found);
void class_unloading(const surroundings& around, report& found);

/* scenarios_exceptions.cpp */
void filters_under_ten_throwers(const surroundings& around, report& found);

#endif
