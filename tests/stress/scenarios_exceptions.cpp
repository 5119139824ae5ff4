/* Exceptions and the filters that say which of them stop. */
#include "scenarios.h"

#include <set>

static std::string class_of(debugger& d, jobject object) {
    const word clazz = d.out(sizeof(word)), info = d.out(sizeof(class_info));
    d.ask("agent_get_objectclass", {d.env, arg(object), clazz});
    d.ask("agent_get_classinfo", {d.env, d.get<word>(clazz), info});
    return d.get<class_info>(info).signature;
}

/* At each stop a filter is added or taken away, while ten threads walk the list of them; a class that no filter names never
 * stops, beyond the stop or two that each thread may be on its way to. */
void filters_under_ten_throwers(const surroundings& around, report& found) {
    const int times = around.full ? 20000 : 600, threads = 10;
    session s(around, found, "Throwing", {});
    s.attach();
    debugger& d = *s.d;
    const char* const names[] = {"Throwing$First", "Throwing$Second", "Throwing$Never", "java/lang/Error"};
    d.ask("agent_set_thrownexception_filter", {d.env, d.text(names[0])});
    d.enable(JVMDI_EVENT_EXCEPTION);
    s.program.go();
    std::set<int> set = {0};
    long since_change = 0, wrong = 0;
    found.expected = times;
    while (found.stops < times) {
        if (!d.next_stop()) throw failure("the program ends by itself");
        if (!d.is_at("hook_exception_thrown")) continue;
        if (++found.stops == times / 4) s.measure_start();
        const std::string thrown = class_of(d, d.event.u.exception.exception);
        const bool wanted =
            (set.count(0) && thrown == "LThrowing$First;") || (set.count(1) && thrown == "LThrowing$Second;");
        if (!wanted && ++since_change > threads) wrong++;
        if (found.stops % (threads + 3)) continue;
        since_change = 0;
        const int next = (int)(found.stops / (threads + 3)) % 4;
        const bool removes = set.count(next) && set.size() > 1;
        d.ask(removes ? "agent_clear_thrownexception_filter" : "agent_set_thrownexception_filter",
              {d.env, d.text(names[next])});
        if (removes)
            set.erase(next);
        else if (!set.insert(next).second) /* it stood there alone: now twice */
            d.ask("agent_clear_thrownexception_filter", {d.env, d.text(names[next])});
        if (!set.count(0) && !set.count(1)) { /* nothing would stop any more */
            d.ask("agent_set_thrownexception_filter", {d.env, d.text(names[0])});
            set.insert(0);
        }
    }
    s.measure_end();
    d.enable(JVMDI_EVENT_EXCEPTION, 0);
    s.program.go();
    d.run_to_end();
    s.check_end(7);
    found.note("throws", s.program.figure("thrown"));
    found.note("heap KB", s.program.figure("heap"));
    expect_equal(wrong, 0, "stops of a class that no filter names");
    expect(found.handles_at_end < found.handles_at_start + 100, "handles of exceptions are released");
}
