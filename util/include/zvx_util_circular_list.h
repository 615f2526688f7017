#ifndef ZVX_UTIL_CIRCULAR_LIST_H
#define ZVX_UTIL_CIRCULAR_LIST_H

#include <cstdint>

// Fixed-capacity ring of pointer-sized integers that overwrites its oldest entry when full. One
// slot tells full from empty, so at most size - 1 entries are live. Not thread-safe. Every
// function accepts a null list.
typedef struct zvx_util_circular_list {
    uint32_t head; // entries ever written
    uint32_t tail; // entries ever consumed or dropped
    int size;
    intptr_t *data;
} zvxu_circular_list;

// Null when size is below 1 or memory is short.
zvxu_circular_list *zvxu_circular_list_create(int size);
void zvxu_circular_list_destroy(zvxu_circular_list *list);
// Returns 1 when the oldest entry had to be dropped to make room, else 0.
int zvxu_circular_list_enqueue(zvxu_circular_list *list, intptr_t value);
// Oldest entry, or 0 when empty (indistinguishable from a stored 0).
intptr_t zvxu_circular_list_dequeue(zvxu_circular_list *list);
// Entry index places back from the newest (0 = newest); not checked against the live count.
intptr_t zvxu_circular_list_peek(zvxu_circular_list *list, int index);
int zvxu_circular_list_is_empty(zvxu_circular_list *list);
int zvxu_circular_list_get_num_elements(zvxu_circular_list *list);

#endif
