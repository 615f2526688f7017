#include "zvx_util_slist_ts.h"

#include <atomic>

#include "zvx_mem.h"
#include "zvx_util_slist_ts_guard.h"

namespace {
using node_ref = std::atomic_ref<zvxu_slist_data *>;
using counter_ref = std::atomic_ref<uint32_t>;

bool compare_and_swap(zvxu_slist_data *&field, zvxu_slist_data *expected, zvxu_slist_data *desired)
{
    return node_ref(field).compare_exchange_strong(expected, desired, std::memory_order_seq_cst);
}

zvxu_slist_data *load(zvxu_slist_data *&field)
{
    return node_ref(field).load(std::memory_order_seq_cst);
}

// Frees the passed dummies from the oldest up to (not including) end.
void free_retired(zvx_slist_ts *queue, zvxu_slist_data *end)
{
    while (queue->retired != end) {
        zvxu_slist_data *next = load(queue->retired->next);
        zvx_mem_free(queue->retired);
        queue->retired = next;
    }
}

// Consumer side, after passing a dummy. Once no enqueue of the previous epoch runs, the sealed
// dummies can have no reader left, and the epoch may turn: what was passed since the last turn is
// sealed, to be freed once the enqueues of the epoch now ending have finished as well.
void reclaim(zvx_slist_ts *queue)
{
    const uint32_t epoch = counter_ref(queue->epoch).load(std::memory_order_seq_cst);
    if (counter_ref(queue->enqueues_in_flight[(epoch + 1) & 1]).load(std::memory_order_seq_cst) != 0)
        return;
    free_retired(queue, queue->retired_unsealed);
    if (queue->retired_unsealed == queue->head)
        return;
    queue->retired_unsealed = queue->head;
    counter_ref(queue->epoch).store(epoch + 1, std::memory_order_seq_cst);
}
} // namespace

// A producer that saw the epoch turn between reading it and registering retries in the new one,
// so the consumer never misses a registration that could hold a node it is about to free.
uint32_t zvxu_slist_ts_guard_enter(zvx_slist_ts *queue)
{
    for (;;) {
        const uint32_t epoch = counter_ref(queue->epoch).load(std::memory_order_seq_cst);
        const uint32_t slot = epoch & 1;
        counter_ref(queue->enqueues_in_flight[slot]).fetch_add(1, std::memory_order_seq_cst);
        if (counter_ref(queue->epoch).load(std::memory_order_seq_cst) == epoch)
            return slot;
        counter_ref(queue->enqueues_in_flight[slot]).fetch_sub(1, std::memory_order_seq_cst);
    }
}

void zvxu_slist_ts_guard_leave(zvx_slist_ts *queue, uint32_t slot)
{
    counter_ref(queue->enqueues_in_flight[slot]).fetch_sub(1, std::memory_order_seq_cst);
}

void zvxu_slist_ts_init(zvx_slist_ts *queue)
{
    auto *dummy = static_cast<zvxu_slist_data *>(zvx_mem_malloc(sizeof(zvxu_slist_data)));
    if (dummy == nullptr)
        return;
    dummy->value = nullptr;
    dummy->next = nullptr;
    queue->head = queue->tail = queue->retired = queue->retired_unsealed = dummy;
    queue->epoch = 0;
    queue->enqueues_in_flight[0] = queue->enqueues_in_flight[1] = 0;
}

int zvxu_slist_ts_enqueue(zvx_slist_ts *queue, void *item)
{
    if (load(queue->head) == nullptr)
        return 0;
    auto *node = static_cast<zvxu_slist_data *>(zvx_mem_malloc(sizeof(zvxu_slist_data)));
    if (node == nullptr)
        return 0;
    node->value = item;
    node->next = nullptr;

    const uint32_t slot = zvxu_slist_ts_guard_enter(queue);
    zvxu_slist_data *tail;
    for (;;) {
        tail = load(queue->tail);
        zvxu_slist_data *next = load(tail->next);
        if (tail != load(queue->tail))
            continue;
        if (next != nullptr) {
            // Another producer linked its node but has not moved tail yet: help it along.
            compare_and_swap(queue->tail, tail, next);
            continue;
        }
        if (compare_and_swap(tail->next, nullptr, node))
            break;
    }
    compare_and_swap(queue->tail, tail, node);
    zvxu_slist_ts_guard_leave(queue, slot);
    return 1;
}

void *zvxu_slist_ts_dequeue(zvx_slist_ts *queue)
{
    if (load(queue->head) == nullptr)
        return nullptr;
    for (;;) {
        zvxu_slist_data *head = load(queue->head);
        zvxu_slist_data *tail = load(queue->tail);
        zvxu_slist_data *next = load(head->next);
        if (head == tail) {
            if (next == nullptr)
                return nullptr;
            compare_and_swap(queue->tail, tail, next);
            continue;
        }
        void *item = next->value;
        if (!compare_and_swap(queue->head, head, next))
            continue;
        reclaim(queue);
        return item;
    }
}

void zvxu_slist_ts_destroy(zvx_slist_ts *queue)
{
    if (queue == nullptr || queue->head == nullptr)
        return;
    free_retired(queue, queue->head);
    zvxu_slist_data *dummy = queue->head;
    for (zvxu_slist_data *node = dummy->next; node != nullptr;) {
        zvxu_slist_data *next = node->next;
        zvx_mem_free(node->value);
        zvx_mem_free(node);
        node = next;
    }
    zvx_mem_free(dummy);
    queue->head = queue->tail = queue->retired = queue->retired_unsealed = nullptr;
}
