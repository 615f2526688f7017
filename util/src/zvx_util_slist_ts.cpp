#include "zvx_util_slist_ts.h"

#include <atomic>

#include "zvx_mem.h"

namespace {
using node_ref = std::atomic_ref<zvxu_slist_data *>;

bool compare_and_swap(zvxu_slist_data *&field, zvxu_slist_data *expected, zvxu_slist_data *desired)
{
    return node_ref(field).compare_exchange_strong(expected, desired, std::memory_order_seq_cst);
}

zvxu_slist_data *load(zvxu_slist_data *&field)
{
    return node_ref(field).load(std::memory_order_seq_cst);
}

std::atomic_ref<uint32_t> producers(zvx_slist_ts *queue)
{
    return std::atomic_ref<uint32_t>(queue->producers_in_flight);
}

// Frees the passed dummies up to (not including) the current one.
void free_retired(zvx_slist_ts *queue, zvxu_slist_data *current)
{
    while (queue->retired != current) {
        zvxu_slist_data *next = load(queue->retired->next);
        zvx_mem_free(queue->retired);
        queue->retired = next;
    }
}
} // namespace

void zvxu_slist_ts_init(zvx_slist_ts *queue)
{
    auto *dummy = static_cast<zvxu_slist_data *>(zvx_mem_malloc(sizeof(zvxu_slist_data)));
    if (dummy == nullptr)
        return;
    dummy->value = nullptr;
    dummy->next = nullptr;
    queue->head = queue->tail = queue->retired = dummy;
    queue->producers_in_flight = 0;
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

    producers(queue).fetch_add(1, std::memory_order_seq_cst);
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
    producers(queue).fetch_sub(1, std::memory_order_seq_cst);
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
        // A producer that read tail before it moved past the old dummy may still read it.
        if (producers(queue).load(std::memory_order_seq_cst) == 0)
            free_retired(queue, next);
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
    queue->head = queue->tail = queue->retired = nullptr;
}
