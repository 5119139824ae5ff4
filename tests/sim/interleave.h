/* interleave.h: exact interleavings. A test says at which point a thread is to be held, lets others go on, and lets the thread
 * go again: what would be luck with sleeps happens at every run.
 *
 *     sim::Interleaving order;                                 // in the test's body, before its threads
 *     order.hold("worker", "JNI.NewGlobalRef");                // its next call of it; a third argument: the n-th from now
 *     auto running = sim.start(worker, [&] { ... });
 *     order.await("worker");                                   // returns when worker stands there: before the call is made
 *     URef_free(...);                                          // meanwhile, on the test's own thread
 *     order.go_on_to("worker", "after JNI.DeleteLocalRef");    // the call was made, and worker stands before what follows
 *     order.go("worker");                                      // on to its next hold, or to its end
 *     running->join();
 *
 * Points. Names are those of the call log, and glob patterns of them ("JV*.Allocate" for both interfaces):
 *     "JNI.FindClass"           a thread is about to make the call (it is not in the log yet, and nothing of it was done)
 *     "after JNI.FindClass"     the call is over, its results are the caller's
 * In a program that includes watched_monitor.h the agent's monitors are points too, by the name that the caller gives:
 *     "lock TMap_start", "after lock TMap_start", "unlock ...", "after unlock ...", "wait ...", "after wait ...",
 *     "timed wait ...", "after timed wait ...", "signal ...", "after signal ..."
 * and a test makes points of its own, in the bodies of threads and methods: sim::pass("in the method").
 *
 * Threads go by the name of their Java thread ("main" is the test's own); threads that are not attached are "unattached".
 * Give the threads of such a test different names. The thread that calls await() must be another one than is awaited.
 *
 * Blocked threads. order.await_blocked("agent", "lock URef_*") returns when the thread found that monitor taken, or waits for
 * its signal ("wait ..."): it can go on only if somebody else acts. (It is only seen with watched_monitor.h.)
 * order.await_that(condition, "what it is") waits for anything else.
 *
 * Nothing here waits for a time. But an Interleaving has a limit, 30 seconds unless its maker says otherwise: a test that is
 * not over by then, whatever it hangs in, is ended (exit status 1) with a line for each thread on standard error that tells
 * where it stands. A hold that no thread had come to at the end fails the test, like misuse of the VM.
 *
 * There is one Interleaving at a time. Without one, points cost nothing.
 */
#ifndef SIM_INTERLEAVE_H
#define SIM_INTERLEAVE_H

#include <atomic>
#include <functional>
#include <string>
#include <thread>

namespace sim {

class Interleaving {
public:
    explicit Interleaving(int limit_seconds = 30);
    ~Interleaving(); /* lets every thread go; fails the test for each hold that nobody came to */
    Interleaving(const Interleaving&) = delete;
    Interleaving& operator=(const Interleaving&) = delete;

    void hold(const std::string& thread, const std::string& point,
              int n = 1);                  /* when it comes there the n-th time from now */
    void await(const std::string& thread); /* until a hold has it */
    void go(const std::string& thread);    /* out of its hold; fails the test if it is in none */
    void go_on_to(const std::string& thread, const std::string& point, int n = 1); /* hold, go, await */
    void await_blocked(const std::string& thread, const std::string& point);
    void await_that(const std::function<bool()>& condition, const std::string& what);

    bool is_held(const std::string& thread);
    std::string held_at(const std::string& thread); /* the point; empty if no hold has it */
    std::string standings();                        /* "worker: held at JNI.NewGlobalRef\n", a line for each thread */

private:
    std::thread watchdog;
};

extern std::atomic<bool> interleaving; /* whether there is an Interleaving */

/* The calling thread comes to the point `kind` + `name`, and stays there if it is to be held. The caller holds no lock that
 * others need to come to their own points. */
void come_to(const char* kind, const char* name);
inline void pass(const char* kind, const char* name) {
    if (interleaving) come_to(kind, name);
}
inline void pass(const char* name) { pass("", name); }

/* While it lives, the calling thread cannot go on unless somebody else acts. */
class Blocked {
public:
    Blocked(const char* kind, const char* name);
    ~Blocked();
    Blocked(const Blocked&) = delete;
    Blocked& operator=(const Blocked&) = delete;
};

} // namespace sim

#endif
