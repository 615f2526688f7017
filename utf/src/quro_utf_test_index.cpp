// Ids and names of a suite's tests, hashed, so that registering a test costs the same however many
// came before it. Tables live in the suite's pool, and a grown table leaves the old one there, so
// slots are single pointers, tables fill to three quarters before they double, and while ids only
// ascend (as suites number their tests) a new id is known to be new without an id table at all.
#include <string.h>

#include <algorithm>
#include <functional>
#include <string_view>

#include "quro_utf_internal.h"

namespace {

constexpr unsigned kInitialCapacity = 64; // a power of two

} // namespace

struct quro_utfp_test_index {
    const quro_utf_test **by_name; // NULL = empty slot
    const quro_utf_test **by_id;   // NULL until an id does not ascend
    unsigned capacity;
    unsigned count;
    unsigned highest_id;
};

namespace {

size_t quro_utfp_hash_id(unsigned id)
{
    return std::hash<unsigned>{}(id)*0x9E3779B97F4A7C15ull;
}

size_t quro_utfp_hash_name(const char *name)
{
    return std::hash<std::string_view>{}(name);
}

// The slot holding a test that matches, else the empty slot that ends the probe.
template <typename Matches>
const quro_utf_test **quro_utfp_probe(const quro_utf_test **table, unsigned capacity, size_t hash, Matches matches)
{
    for (size_t i = hash & (capacity - 1);; i = (i + 1) & (capacity - 1)) {
        if (table[i] == nullptr || matches(table[i])) {
            return &table[i];
        }
    }
}

const quro_utf_test *quro_utfp_find_name(const quro_utfp_test_index *index, const char *name)
{
    return *quro_utfp_probe(index->by_name, index->capacity, quro_utfp_hash_name(name),
                            [name](const quro_utf_test *test) { return strcmp(test->name, name) == 0; });
}

// Without an id table, only an id that does not ascend needs a look: a walk, done once, after which
// the table exists.
const quro_utf_test *quro_utfp_find_id(const quro_utfp_test_index *index, const quro_utf_test *first, unsigned id)
{
    if (index->by_id != nullptr) {
        return *quro_utfp_probe(index->by_id, index->capacity, quro_utfp_hash_id(id),
                                [id](const quro_utf_test *test) { return test->id == id; });
    }
    if (id > index->highest_id) {
        return nullptr;
    }
    while (first != nullptr && first->id != id) {
        first = first->next_test;
    }
    return first;
}

// A test is placed only once it is known to be no duplicate, so the first empty slot will do.
void quro_utfp_place(quro_utfp_test_index *index, const quro_utf_test *test)
{
    const auto is_other = [](const quro_utf_test *) { return false; };
    *quro_utfp_probe(index->by_name, index->capacity, quro_utfp_hash_name(test->name), is_other) = test;
    if (index->by_id != nullptr) {
        *quro_utfp_probe(index->by_id, index->capacity, quro_utfp_hash_id(test->id), is_other) = test;
    }
    index->highest_id = std::max(index->highest_id, test->id);
}

const quro_utf_test **quro_utfp_new_table(quro_utf_mempool *pool, unsigned capacity)
{
    const size_t bytes = static_cast<size_t>(capacity) * sizeof(const quro_utf_test *);
    auto *table = static_cast<const quro_utf_test **>(quro_utf_mempool_alloc(pool, bytes));
    if (table != nullptr) {
        memset(static_cast<void *>(table), 0, bytes);
    }
    return table;
}

// Tables of the given capacity holding what the old index held; NULL when the pool is exhausted.
quro_utfp_test_index *quro_utfp_build_index(quro_utf_mempool *pool, const quro_utfp_test_index *old, unsigned capacity,
                                            bool with_ids)
{
    auto *index = static_cast<quro_utfp_test_index *>(quro_utf_mempool_alloc(pool, sizeof(quro_utfp_test_index)));
    const quro_utf_test **by_name = quro_utfp_new_table(pool, capacity);
    const quro_utf_test **by_id = with_ids ? quro_utfp_new_table(pool, capacity) : nullptr;
    if (index == nullptr || by_name == nullptr || (with_ids && by_id == nullptr)) {
        return nullptr;
    }
    *index = quro_utfp_test_index{by_name, by_id, capacity, 0, 0};
    if (old != nullptr) {
        for (unsigned i = 0; i < old->capacity; ++i) {
            if (old->by_name[i] != nullptr) {
                quro_utfp_place(index, old->by_name[i]);
            }
        }
        index->count = old->count;
    }
    return index;
}

} // namespace

const quro_utf_test *quro_utfp_index_find_duplicate(const quro_utfp_test_index *index, const quro_utf_test *first,
                                                    unsigned id, const char *name, bool *same_id)
{
    if (index == nullptr) {
        return nullptr;
    }
    const quro_utf_test *by_id = quro_utfp_find_id(index, first, id);
    const quro_utf_test *by_name = quro_utfp_find_name(index, name);
    if (by_id != nullptr && by_name != nullptr && by_id != by_name) {
        // Two different tests: the earlier registered one is reported, as a walk of the list would.
        while (first != by_id && first != by_name) {
            first = first->next_test;
        }
        if (first == by_id) {
            by_name = nullptr;
        } else {
            by_id = nullptr;
        }
    }
    *same_id = by_id != nullptr;
    return *same_id ? by_id : by_name;
}

bool quro_utfp_index_add(quro_utf_mempool *pool, quro_utfp_test_index **index, const quro_utf_test *test)
{
    quro_utfp_test_index *current = *index;
    // At most three quarters full, so that probes stay short and always end.
    const bool full = current == nullptr || 4 * (current->count + 1) > 3 * current->capacity;
    const bool ids_stop_ascending = current != nullptr && current->by_id == nullptr && test->id <= current->highest_id;
    if (full || ids_stop_ascending) {
        const unsigned capacity = current == nullptr ? kInitialCapacity : current->capacity * (full ? 2 : 1);
        current = quro_utfp_build_index(pool, current, capacity,
                                        ids_stop_ascending || (current != nullptr && current->by_id != nullptr));
        if (current == nullptr) {
            return false;
        }
        *index = current;
    }
    quro_utfp_place(current, test);
    current->count++;
    return true;
}
