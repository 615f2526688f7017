#ifndef ZVX_UTIL_SLIST_TS_H
#define ZVX_UTIL_SLIST_TS_H

#include <cstdint>

typedef struct zvx_util_slist_data {
    void *value;
    struct zvx_util_slist_data *next;
} zvxu_slist_data;

// Lock-free FIFO with a dummy node: any number of producers, one consumer. The queue owns its
// nodes; items belong to whoever dequeues them.
//
// A producer may still read a dummy that the consumer has just passed, so passed dummies stay
// chained from `retired` up to `head` until every enqueue that began before they were passed has
// finished. Enqueues register by the parity of the epoch they began in; the consumer turns the
// epoch once the enqueues of the one before have all finished, and frees what it had passed
// before the turn once the enqueues of the epoch it turned from have finished too.
typedef struct zvx_util_slist_ts {
    zvxu_slist_data *head;             // consumer: the current dummy; its value is stale
    zvxu_slist_data *tail;             // any thread, by compare-and-swap
    zvxu_slist_data *retired;          // consumer: oldest passed dummy (head when none)
    zvxu_slist_data *retired_unsealed; // consumer: first dummy passed since the epoch last turned
    uint32_t epoch;                    // written by the consumer, read by producers
    uint32_t enqueues_in_flight[2];    // producers: running enqueues by their epoch's parity
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
