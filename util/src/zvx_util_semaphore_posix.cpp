#include "zvx_util_semaphore.h"

#include <cerrno>
#include <ctime>

#include "zvx_util_semaphore_deadline.h"

struct timespec zvxu_semaphore_deadline(const struct timespec &now, long timeout)
{
    // Whole milliseconds only: the deadline may fall up to 1 ms before now + timeout.
    const long ms = now.tv_nsec / 1000000 + timeout % 1000;
    struct timespec deadline;
    deadline.tv_sec = now.tv_sec + timeout / 1000 + ms / 1000;
    deadline.tv_nsec = (ms % 1000) * 1000000;
    return deadline;
}

int zvxu_semaphore_init(struct zvx_util_semaphore_t *sem)
{
    return sem_init(&sem->raw_semaphore, 0, 1);
}

int zvxu_semaphore_init_locked(struct zvx_util_semaphore_t *sem)
{
    return sem_init(&sem->raw_semaphore, 0, 0);
}

int zvxu_semaphore_destroy(struct zvx_util_semaphore_t *sem)
{
    return sem_destroy(&sem->raw_semaphore);
}

int zvxu_semaphore_wait(struct zvx_util_semaphore_t *sem, long timeout)
{
    if (timeout == 0)
        return sem_wait(&sem->raw_semaphore);

    struct timespec now;
    if (clock_gettime(CLOCK_REALTIME, &now) != 0)
        return ETIMEDOUT;
    const struct timespec deadline = zvxu_semaphore_deadline(now, timeout);
    return sem_timedwait(&sem->raw_semaphore, &deadline);
}

int zvxu_semaphore_post(struct zvx_util_semaphore_t *sem)
{
    return sem_post(&sem->raw_semaphore);
}
