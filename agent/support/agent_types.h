/* agent_types.h: what every module of the agent shares: linkage of the interface, thread ids, and access to words that
 * another thread or the debugger's process writes.
 */
#ifndef QUOR_AGENT_TYPES_H
#define QUOR_AGENT_TYPES_H

#include <jvmti.h>
#include <pthread.h>
#include <stdint.h>

/* A name of the agent's interface: C linkage, visible outside the library. Everything else is hidden. */
#define AGENT_API extern "C" __attribute__((visibility("default")))

/* An empty function that a debugger plants a breakpoint on. It must keep its own entry address: never inlined, cloned,
 * folded into a twin, or dropped for having no effect. Its body is AGENT_HOOK_BODY. */
#define AGENT_HOOK __attribute__((noinline, noclone, no_icf, used))
#define AGENT_HOOK_BODY __asm__ volatile("" ::: "memory")

/* A native thread's id: its pthread_self(). On Linux that is an address, so on 32 bits it may read as negative. */
typedef long agent_tid_t;

static inline agent_tid_t agent_self() {
    static_assert(sizeof(pthread_t) == sizeof(agent_tid_t), "a thread id is a pointer-sized word");
    return (agent_tid_t)pthread_self();
}

/* Reads a word that another thread, or the debugger through the process's memory, may write at any time. The word is
 * really read at every call, and keeps its plain type and size for whoever looks at it from outside. */
template <class T> static inline T shared_load(const T& word) {
    T value;
    __atomic_load(&word, &value, __ATOMIC_ACQUIRE);
    return value;
}

/* Writes such a word. */
template <class T, class V> static inline void shared_store(T& word, V value) {
    T stored = value;
    __atomic_store(&word, &stored, __ATOMIC_RELEASE);
}

#endif
