#include "sim/interleave.h"

#include "sim/internal.h"

#include <fnmatch.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <list>
#include <mutex>
#include <stdexcept>

namespace sim {

std::atomic<bool> interleaving{false};

namespace {

struct Hold {
    std::string thread, point;
    int countdown;
};

struct Standing {
    enum { passed, held, blocked } how = passed;
    std::string point;
    bool may_go = false;
};

/* Not part of an Interleaving: a thread may still come to a point while one ends. */
struct Table {
    std::mutex mutex;
    std::condition_variable changed;
    std::list<Hold> holds; /* not yet come to, oldest first */
    std::map<std::string, Standing> threads;
    std::string awaited; /* what the test waits for */
    int held = 0;
    bool ended = false;
};

Table& table() {
    static Table& the = *new Table; /* threads that never end may use it after main() */
    return the;
}

using Guard = std::unique_lock<std::mutex>;

std::string this_name() { return this_native() ? this_native()->java->label : "unattached"; }

bool matches(const std::string& glob, const std::string& point) { return fnmatch(glob.c_str(), point.c_str(), 0) == 0; }

/* Whether a hold has the thread at this point; counts it down in every hold that it matches. */
bool caught(Table& t, const std::string& thread, const std::string& point) {
    bool found = false;
    for (auto hold = t.holds.begin(); hold != t.holds.end();) {
        if (hold->thread == thread && matches(hold->point, point) && --hold->countdown == 0) {
            found = true;
            hold = t.holds.erase(hold);
        } else
            ++hold;
    }
    return found;
}

std::string text_of(const Table& t) {
    static const char* const how[] = {"passed", "held at", "blocked in"};
    std::string text;
    for (const auto& [thread, standing] : t.threads)
        text += thread + ": " + how[standing.how] + " " + standing.point + "\n";
    for (const Hold& hold : t.holds) text += "not come to: " + hold.thread + " at " + hold.point + "\n";
    if (!t.awaited.empty()) text += "the test waits for: " + t.awaited + "\n";
    return text;
}

/* Whoever stands in a deadlock cannot be ended in another way. */
[[noreturn]] void end_at_limit(const Table& t, int seconds) {
    std::fprintf(stderr, "Not over after %d seconds. Who stands where:\n%s", seconds, text_of(t).c_str());
    std::fflush(nullptr);
    std::_Exit(1);
}

void watch(int seconds) {
    Table& t = table();
    Guard guard(t.mutex);
    if (!t.changed.wait_for(guard, std::chrono::seconds(seconds), [&] { return t.ended; })) end_at_limit(t, seconds);
}

template <class Condition> void await_in(Guard& guard, const std::string& what, Condition condition) {
    Table& t = table();
    t.awaited = what;
    t.changed.wait(guard, condition);
    t.awaited.clear();
}

bool stands(Table& t, const std::string& thread, int how) {
    auto found = t.threads.find(thread);
    return found != t.threads.end() && found->second.how == how && !found->second.may_go;
}

} // namespace

/* ---- What threads do -------------------------------------------------------------------------------------------- */

void come_to(const char* kind, const char* name) {
    const std::string thread = this_name(), point = std::string(kind) + name;
    Table& t = table();
    Guard guard(t.mutex);
    if (t.ended) return;
    Standing& here = t.threads[thread];
    here = {Standing::passed, point, false};
    if (!caught(t, thread, point)) return;
    here.how = Standing::held;
    t.held++;
    t.changed.notify_all();
    t.changed.wait(guard, [&] { return here.may_go || t.ended; });
    here = {Standing::passed, point, false};
    t.held--;
    t.changed.notify_all();
}

static void set_blocked(bool blocked, const std::string& point) {
    Table& t = table();
    Guard guard(t.mutex);
    Standing& here = t.threads[this_name()];
    here.how = blocked ? Standing::blocked : Standing::passed;
    if (blocked) here.point = point;
    t.changed.notify_all();
}

Blocked::Blocked(const char* kind, const char* name) {
    if (interleaving) set_blocked(true, std::string(kind) + name);
}
Blocked::~Blocked() {
    if (interleaving) set_blocked(false, "");
}

/* ---- What the test does ----------------------------------------------------------------------------------------- */

Interleaving::Interleaving(int limit_seconds) {
    if (interleaving) throw std::logic_error("there is one Interleaving at a time");
    Table& t = table();
    {
        Guard guard(t.mutex);
        t.holds.clear();
        t.threads.clear();
        t.ended = false;
    }
    interleaving = true;
    watchdog = std::thread(watch, limit_seconds);
}

Interleaving::~Interleaving() {
    Table& t = table();
    interleaving = false;
    {
        Guard guard(t.mutex);
        t.ended = true;
        t.changed.notify_all();
        t.changed.wait(guard, [&] { return t.held == 0; });
        for (const Hold& hold : t.holds) the_sim().misuse(hold.thread + " never came to " + hold.point);
    }
    watchdog.join();
}

void Interleaving::hold(const std::string& thread, const std::string& point, int n) {
    Guard guard(table().mutex);
    table().holds.push_back({thread, point, n});
}

void Interleaving::await(const std::string& thread) {
    Guard guard(table().mutex);
    await_in(guard, thread + " to be held", [&] { return stands(table(), thread, Standing::held); });
}

void Interleaving::go(const std::string& thread) {
    Guard guard(table().mutex);
    if (!stands(table(), thread, Standing::held)) {
        the_sim().misuse(thread + " is told to go, but nothing holds it\n" + text_of(table()));
        return;
    }
    table().threads[thread].may_go = true;
    table().changed.notify_all();
}

void Interleaving::go_on_to(const std::string& thread, const std::string& point, int n) {
    hold(thread, point, n);
    go(thread);
    await(thread);
}

void Interleaving::await_blocked(const std::string& thread, const std::string& point) {
    Guard guard(table().mutex);
    await_in(guard, thread + " to be blocked in " + point, [&] {
        return stands(table(), thread, Standing::blocked) && matches(point, table().threads[thread].point);
    });
}

void Interleaving::await_that(const std::function<bool()>& condition, const std::string& what) {
    {
        Guard guard(table().mutex);
        table().awaited = what;
    }
    while (!condition()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    Guard guard(table().mutex);
    table().awaited.clear();
}

bool Interleaving::is_held(const std::string& thread) {
    Guard guard(table().mutex);
    return stands(table(), thread, Standing::held);
}

std::string Interleaving::held_at(const std::string& thread) {
    Guard guard(table().mutex);
    return stands(table(), thread, Standing::held) ? table().threads[thread].point : "";
}

std::string Interleaving::standings() {
    Guard guard(table().mutex);
    return text_of(table());
}

} // namespace sim
