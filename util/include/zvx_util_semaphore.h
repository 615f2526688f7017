#ifndef ZVX_UTIL_SEMAPHORE_H
#define ZVX_UTIL_SEMAPHORE_H

#include <semaphore.h>

// Process-private counting semaphore. Every call returns the C library's result: 0 on success.
struct zvx_util_semaphore_t {
    sem_t raw_semaphore;
};

int zvxu_semaphore_init(struct zvx_util_semaphore_t *sem);        // count 1: open
int zvxu_semaphore_init_locked(struct zvx_util_semaphore_t *sem); // count 0: closed
int zvxu_semaphore_destroy(struct zvx_util_semaphore_t *sem);
// timeout in milliseconds, 0 waits without limit. A time-out or a signal gives -1 with errno set
// (no retry on EINTR); a failing clock gives 110 (ETIMEDOUT) itself, positive, without waiting.
int zvxu_semaphore_wait(struct zvx_util_semaphore_t *sem, long timeout);
int zvxu_semaphore_post(struct zvx_util_semaphore_t *sem);

#endif
