/* sim_mutex.h: the lock of the simulated VM. Every call takes it, and a real VM's calls are no barriers: so ThreadSanitizer is
 * told to pass over it, and over what the VM does under it, or it would take the agent's own accesses before and after any two
 * calls for ordered ones.
 */
#ifndef SIM_MUTEX_H
#define SIM_MUTEX_H

#include <mutex>

#ifdef __SANITIZE_THREAD__
extern "C" {
void AnnotateIgnoreSyncBegin(const char* file, int line);
void AnnotateIgnoreSyncEnd(const char* file, int line);
void AnnotateIgnoreReadsBegin(const char* file, int line);
void AnnotateIgnoreReadsEnd(const char* file, int line);
void AnnotateIgnoreWritesBegin(const char* file, int line);
void AnnotateIgnoreWritesEnd(const char* file, int line);
}
#endif

namespace sim {

class Mutex {
public:
    void lock() {
#ifdef __SANITIZE_THREAD__
        AnnotateIgnoreSyncBegin(__FILE__, __LINE__);
        mutex.lock();
        AnnotateIgnoreSyncEnd(__FILE__, __LINE__);
        AnnotateIgnoreReadsBegin(__FILE__, __LINE__);
        AnnotateIgnoreWritesBegin(__FILE__, __LINE__);
#else
        mutex.lock();
#endif
    }
    void unlock() {
#ifdef __SANITIZE_THREAD__
        AnnotateIgnoreWritesEnd(__FILE__, __LINE__);
        AnnotateIgnoreReadsEnd(__FILE__, __LINE__);
        AnnotateIgnoreSyncBegin(__FILE__, __LINE__);
        mutex.unlock();
        AnnotateIgnoreSyncEnd(__FILE__, __LINE__);
#else
        mutex.unlock();
#endif
    }

private:
    std::recursive_mutex mutex;
};

} /* namespace sim */

#endif
