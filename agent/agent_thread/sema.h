/* sema.h: System V's counting semaphore under its four names, over POSIX's, private to the process. */
#ifndef QUOR_SEMA_H
#define QUOR_SEMA_H

#include <errno.h>
#include <semaphore.h>

typedef sem_t sema_t;

static inline int sema_init(sema_t* semaphore, unsigned count) { return sem_init(semaphore, 0, count); }
static inline int sema_wait(sema_t* semaphore) {
    while (sem_wait(semaphore) == -1)
        if (errno != EINTR) return errno;
    return 0;
}
static inline int sema_post(sema_t* semaphore) { return sem_post(semaphore); }
static inline int sema_destroy(sema_t* semaphore) { return sem_destroy(semaphore); }

#endif
