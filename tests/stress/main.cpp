/* Stress on a real JVM: a small native debugger works the agent in programs made for the purpose, and loses nothing.
 *
 * A scenario that hangs shows the JVM's Java stacks and its native ones, and fails; the others are still run.
 */
#include "scenarios.h"

#include <cstdio>

const std::vector<scenario> scenarios = {
    {"stops", "nothing but stops, from eight threads", nothing_but_stops},
    {"queries", "queries racing with resume", queries_racing_with_resume},
    {"invocations-8", "three invocations at every stop, seven other threads queued", invocation_with_others_queued},
    {"invocations-2", "three invocations at every stop, one other thread", invocation_with_one_other},
    {"invocations-elsewhere", "an invocation at method entries, thread ends and control-C stops",
     invocation_at_every_kind_of_stop},
    {"fresh-class", "eight threads into one fresh class", eight_threads_into_one_fresh_class},
    {"churn", "threads that come and go, native ones too", churn_of_threads},
    {"death-exit", "System.exit from eight threads at breakpoints", death_by_exit},
    {"death-return", "the end of main while eight threads are at breakpoints", death_by_return},
    {"death-logging", "both ends with the log on", death_with_a_log},
    {"attach-detach", "attach and detach under load, something pending", attach_and_detach_under_load},
    {"late", "the debugger comes when the agent's first contact is over", debugger_comes_late},
    {"unloading", "classes in throw-away loaders, after a detach", class_unloading},
    {"control-c", "control-C stops under load", control_c_under_load},
    {"filters", "filters changed under ten throwers", filters_under_ten_throwers},
    {"killed", "the debugger killed at each stage", debugger_killed_at_each_stage},
};

static void print(const scenario& what, const report& found, double seconds, int hangs) {
    printf("%-22s %ld stops", what.name, found.stops);
    if (found.expected) printf(" of %ld, lost %ld", found.expected, found.lost());
    printf(", hangs %d; memory %ld -> %ld KB, references %ld -> %ld, handles %zu -> %zu%s; %.1f s\n", hangs,
           found.start.resident_kilobytes, found.end.resident_kilobytes, found.start.references, found.end.references,
           found.handles_at_start, found.handles_at_end, found.notes.c_str(), seconds);
    fflush(stdout);
}

/* Runs one scenario; gives whether it passed. */
static bool run(const scenario& what, const surroundings& around) {
    report found;
    const double begin = seconds_now();
    std::string reason;
    int hangs = 0;
    try {
        what.run(around, found);
    } catch (const hang& why) {
        reason = why.what();
        hangs = 1;
    } catch (const failure& why) {
        reason = why.what();
    }
    print(what, found, seconds_now() - begin, hangs);
    if (!reason.empty()) printf("FAILED %s: %s\n", what.name, reason.c_str());
    fflush(stdout);
    return reason.empty();
}

static int usage() {
    fputs("usage: stress --java JAVA --agent FOLDER --classes FOLDER --library FILE --work FOLDER [--full] [--option "
          "JAVA_OPTION]\n"
          "              [SCENARIO...]\n       stress --list\n",
          stderr);
    return 2;
}

int main(int count, char** words) {
    surroundings around;
    std::vector<std::string> wanted;
    for (int i = 1; i < count; i++) {
        const std::string name = words[i];
        const char* value = i + 1 < count ? words[i + 1] : nullptr;
        std::string* const text = name == "--java"      ? &around.java
                                  : name == "--agent"   ? &around.agent_folder
                                  : name == "--classes" ? &around.classes
                                  : name == "--library" ? &around.library
                                  : name == "--work"    ? &around.work
                                                        : nullptr;
        if (name == "--list") {
            for (const scenario& each : scenarios) printf("%-22s %s\n", each.name, each.what);
            return 0;
        }
        if (name == "--full") {
            around.full = true;
        } else if (text || name == "--option") {
            if (!value) return usage();
            i++;
            if (text)
                *text = value;
            else
                around.options.push_back(value);
        } else {
            wanted.push_back(name);
        }
    }
    if (around.java.empty() || around.agent_folder.empty() || around.classes.empty() || around.work.empty())
        return usage();
    bool passed = true;
    size_t ran = 0;
    for (const scenario& each : scenarios) {
        bool chosen = wanted.empty();
        for (const std::string& one : wanted) chosen = chosen || one == each.name;
        if (!chosen) continue;
        ran++;
        passed = run(each, around) && passed;
    }
    if (ran < wanted.size()) return usage();
    return passed ? 0 : 1;
}
