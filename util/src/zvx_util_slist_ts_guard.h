#ifndef ZVX_UTIL_SLIST_TS_GUARD_H
#define ZVX_UTIL_SLIST_TS_GUARD_H

#include "zvx_util_slist_ts.h"

// An enqueue's registration with the queue's node reclamation: between enter and leave no dummy
// that the consumer passes is freed. enter returns the slot that leave takes.
uint32_t zvxu_slist_ts_guard_enter(zvx_slist_ts *queue);
void zvxu_slist_ts_guard_leave(zvx_slist_ts *queue, uint32_t slot);

#endif
