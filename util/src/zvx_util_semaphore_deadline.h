#ifndef ZVX_UTIL_SEMAPHORE_DEADLINE_H
#define ZVX_UTIL_SEMAPHORE_DEADLINE_H

#include <ctime>

// The absolute deadline of a wait of timeout milliseconds that starts at now; the part of now
// below a millisecond is dropped.
struct timespec zvxu_semaphore_deadline(const struct timespec &now, long timeout);

#endif
