#ifndef ZVX_UTIL_SLIST_TS_H
#define ZVX_UTIL_SLIST_TS_H

#include <cstdint>

typedef struct zvx_util_slist_data {
    void *value;
    struct zvx_util_slist_data *next;
} zvxu_slist_data;

// Lock-free FIFO with a dummy node: any number of producers, one consumer. The queue owns its
// nodes; items belong to whoever dequeues them.
typedef struct zvx_util_slist_ts {
    zvxu_slist_data *head; // current dummy; its value is stale
    zvxu_slist_data *tail;
    // A producer may still hold a dummy the consumer has just passed, so passed dummies are only
    // freed while no enqueue is in flight; they stay chained from here up to head.
    zvxu_slist_data *retired;
    uint32_t producers_in_flight;
} zvx_slist_ts;

// On allocation failure the record is left as it was: a zeroed record then fails every call.
void zvxu_slist_ts_init(zvx_slist_ts *queue);
// 1 on success, 0 when the queue was never initialised or memory is short.
int zvxu_slist_ts_enqueue(zvx_slist_ts *queue, void *item);
// Oldest item, or null when empty or never initialised. One consumer thread only.
void *zvxu_slist_ts_dequeue(zvx_slist_ts *queue);
// Frees the items still queued with zvx_mem_free; a null queue is accepted.
void zvxu_slist_ts_destroy(zvx_slist_ts *queue);

#endif
