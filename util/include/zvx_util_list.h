#ifndef ZVX_UTIL_LIST_H
#define ZVX_UTIL_LIST_H

#include <cstddef>
#include <cstring>
#include <type_traits>

#include "zvx_mem.h"

// Typed doubly linked list, circular through a sentinel element (`node`) embedded in the list
// record. The list owns its elements, one allocation each, never the data they hold. Not
// thread-safe. Declare an instantiation with ZVX_LIST_DECLARE; iterate by hand:
//
//   ZVX_LIST_DECLARE(ints, int)
//   for (zvx_list_iterator_ints it = list.node.next; it != &list.node; it = it->next) use(it->data);
namespace zvx {

template <typename List, typename Elem> struct intrusive_list {
    using data_type = decltype(Elem::data);
    using iterator = Elem *;
    // Elements live in raw allocations and remove compares data byte for byte.
    static_assert(std::is_trivially_copyable_v<data_type>);

    static void construct(List *list) { list->node.prev = list->node.next = &list->node; }

    static void clear(List *list)
    {
        for (iterator it = list->node.next; it != &list->node;)
            it = erase(it);
    }

    static iterator erase(iterator it)
    {
        iterator next = it->next;
        it->prev->next = next;
        next->prev = it->prev;
        zvx_mem_free(it);
        return next;
    }

    static iterator rerase(iterator it)
    {
        iterator prev = it->prev;
        erase(it);
        return prev;
    }

    // A failed allocation inserts nothing, silently.
    static void insert_before(iterator it, const data_type *data)
    {
        auto *elem = static_cast<iterator>(zvx_mem_malloc(sizeof(Elem)));
        if (elem == nullptr)
            return;
        std::memcpy(&elem->data, data, sizeof(data_type));
        elem->next = it;
        elem->prev = it->prev;
        it->prev->next = elem;
        it->prev = elem;
    }

    static void remove(List *list, const data_type *data)
    {
        for (iterator it = list->node.next; it != &list->node;)
            it = std::memcmp(&it->data, data, sizeof(data_type)) == 0 ? erase(it) : it->next;
    }

    static size_t size(const List *list)
    {
        size_t count = 0;
        for (const Elem *it = list->node.next; it != &list->node; it = it->next)
            ++count;
        return count;
    }

    // Moves [first, last) of another list (or of this one, outside the range) before it.
    static void splice_range(iterator it, iterator first, iterator last)
    {
        if (first == last)
            return;
        iterator final_moved = last->prev;
        first->prev->next = last;
        last->prev = first->prev;
        first->prev = it->prev;
        it->prev->next = first;
        final_moved->next = it;
        it->prev = final_moved;
    }
};

} // namespace zvx

// Defines zvx_list_data_T (= D), struct zvx_list_elem_T {prev, next, data}, struct zvx_list_T
// {node}, zvx_list_iterator_T and the zvx_list_<op>_T functions, each taking the list first.
#define ZVX_LIST_DECLARE(T, D)                                                                                         \
    typedef D zvx_list_data_##T;                                                                                       \
    struct zvx_list_elem_##T {                                                                                         \
        struct zvx_list_elem_##T *prev;                                                                                \
        struct zvx_list_elem_##T *next;                                                                                \
        zvx_list_data_##T data;                                                                                        \
    };                                                                                                                 \
    struct zvx_list_##T {                                                                                              \
        struct zvx_list_elem_##T node;                                                                                 \
    };                                                                                                                 \
    typedef struct zvx_list_elem_##T *zvx_list_iterator_##T;                                                           \
    typedef ::zvx::intrusive_list<struct zvx_list_##T, struct zvx_list_elem_##T> zvx_list_impl_##T;                    \
    inline void zvx_list_construct_##T(struct zvx_list_##T *list)                                                      \
    {                                                                                                                  \
        zvx_list_impl_##T::construct(list);                                                                            \
    }                                                                                                                  \
    inline void zvx_list_clear_##T(struct zvx_list_##T *list)                                                          \
    {                                                                                                                  \
        zvx_list_impl_##T::clear(list);                                                                                \
    }                                                                                                                  \
    inline void zvx_list_destruct_##T(struct zvx_list_##T *list)                                                       \
    {                                                                                                                  \
        zvx_list_impl_##T::clear(list);                                                                                \
    }                                                                                                                  \
    inline zvx_list_iterator_##T zvx_list_erase_##T(struct zvx_list_##T *, zvx_list_iterator_##T it)                   \
    {                                                                                                                  \
        return zvx_list_impl_##T::erase(it);                                                                           \
    }                                                                                                                  \
    inline zvx_list_iterator_##T zvx_list_rerase_##T(struct zvx_list_##T *, zvx_list_iterator_##T it)                  \
    {                                                                                                                  \
        return zvx_list_impl_##T::rerase(it);                                                                          \
    }                                                                                                                  \
    inline void zvx_list_insert_before_##T(struct zvx_list_##T *, zvx_list_iterator_##T it,                            \
                                           const zvx_list_data_##T *data)                                              \
    {                                                                                                                  \
        zvx_list_impl_##T::insert_before(it, data);                                                                    \
    }                                                                                                                  \
    inline void zvx_list_insert_before_value_##T(struct zvx_list_##T *, zvx_list_iterator_##T it,                      \
                                                 zvx_list_data_##T data)                                               \
    {                                                                                                                  \
        zvx_list_impl_##T::insert_before(it, &data);                                                                   \
    }                                                                                                                  \
    inline void zvx_list_push_back_value_##T(struct zvx_list_##T *list, zvx_list_data_##T data)                        \
    {                                                                                                                  \
        zvx_list_impl_##T::insert_before(&list->node, &data);                                                          \
    }                                                                                                                  \
    inline void zvx_list_push_front_value_##T(struct zvx_list_##T *list, zvx_list_data_##T data)                       \
    {                                                                                                                  \
        zvx_list_impl_##T::insert_before(list->node.next, &data);                                                      \
    }                                                                                                                  \
    inline void zvx_list_remove_##T(struct zvx_list_##T *list, const zvx_list_data_##T *data)                          \
    {                                                                                                                  \
        zvx_list_impl_##T::remove(list, data);                                                                         \
    }                                                                                                                  \
    inline void zvx_list_remove_value_##T(struct zvx_list_##T *list, zvx_list_data_##T data)                           \
    {                                                                                                                  \
        zvx_list_impl_##T::remove(list, &data);                                                                        \
    }                                                                                                                  \
    inline size_t zvx_list_size_##T(const struct zvx_list_##T *list)                                                   \
    {                                                                                                                  \
        return zvx_list_impl_##T::size(list);                                                                          \
    }                                                                                                                  \
    inline void zvx_list_splice_range_##T(struct zvx_list_##T *, zvx_list_iterator_##T it, struct zvx_list_##T *,      \
                                          zvx_list_iterator_##T first, zvx_list_iterator_##T last)                     \
    {                                                                                                                  \
        zvx_list_impl_##T::splice_range(it, first, last);                                                              \
    }

#endif
