#include "zvx_util_circular_list.h"

#include "zvx_mem.h"

namespace {
intptr_t &slot(zvxu_circular_list *list, uint32_t counter)
{
    return list->data[counter % static_cast<uint32_t>(list->size)];
}
} // namespace

zvxu_circular_list *zvxu_circular_list_create(int size)
{
    if (size < 1)
        return nullptr;
    auto *list = static_cast<zvxu_circular_list *>(zvx_mem_calloc(1, sizeof(zvxu_circular_list)));
    if (list == nullptr)
        return nullptr;
    list->data = static_cast<intptr_t *>(zvx_mem_calloc(static_cast<size_t>(size), sizeof(intptr_t)));
    if (list->data == nullptr) {
        zvx_mem_free(list);
        return nullptr;
    }
    list->size = size;
    return list;
}

void zvxu_circular_list_destroy(zvxu_circular_list *list)
{
    if (list == nullptr)
        return;
    zvx_mem_free(list->data);
    zvx_mem_free(list);
}

int zvxu_circular_list_enqueue(zvxu_circular_list *list, intptr_t value)
{
    if (list == nullptr)
        return 0;
    slot(list, list->head) = value;
    ++list->head;
    const auto size = static_cast<uint32_t>(list->size);
    if (list->head % size != list->tail % size)
        return 0;
    ++list->tail;
    return 1;
}

intptr_t zvxu_circular_list_dequeue(zvxu_circular_list *list)
{
    if (list == nullptr || list->head == list->tail)
        return 0;
    const intptr_t value = slot(list, list->tail);
    ++list->tail;
    return value;
}

intptr_t zvxu_circular_list_peek(zvxu_circular_list *list, int index)
{
    if (list == nullptr)
        return 0;
    return slot(list, list->head - static_cast<uint32_t>(index) - 1);
}

int zvxu_circular_list_is_empty(zvxu_circular_list *list)
{
    return list == nullptr || list->head == list->tail;
}

int zvxu_circular_list_get_num_elements(zvxu_circular_list *list)
{
    return list == nullptr ? 0 : static_cast<int>(list->head - list->tail);
}
