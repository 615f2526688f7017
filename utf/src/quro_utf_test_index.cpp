// Ids and names of a suite's tests, hashed, so that registering a test costs the same however many
// came before it. Tables live in the suite's pool; a grown table leaves the old one to the pool.
#include <string.h>

#include <functional>
#include <string_view>

#include "quro_utf_internal.h"

namespace {

constexpr unsigned kInitialCapacity = 64; // a power of two

struct quro_utfp_index_slot {
    const quro_utf_test *test; // NULL = empty
    unsigned position;         // registration order
};

} // namespace

struct quro_utfp_test_index {
    quro_utfp_index_slot *by_id;
    quro_utfp_index_slot *by_name;
    unsigned capacity;
    unsigned count;
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
quro_utfp_index_slot *quro_utfp_probe(quro_utfp_index_slot *table, unsigned capacity, size_t hash, Matches matches)
{
    for (size_t i = hash & (capacity - 1);; i = (i + 1) & (capacity - 1)) {
        if (table[i].test == nullptr || matches(table[i].test)) {
            return &table[i];
        }
    }
}

quro_utfp_index_slot *quro_utfp_id_slot(const quro_utfp_test_index *index, unsigned id)
{
    return quro_utfp_probe(index->by_id, index->capacity, quro_utfp_hash_id(id),
                           [id](const quro_utf_test *test) { return test->id == id; });
}

quro_utfp_index_slot *quro_utfp_name_slot(const quro_utfp_test_index *index, const char *name)
{
    return quro_utfp_probe(index->by_name, index->capacity, quro_utfp_hash_name(name),
                           [name](const quro_utf_test *test) { return strcmp(test->name, name) == 0; });
}

void quro_utfp_place(quro_utfp_test_index *index, quro_utfp_index_slot slot)
{
    *quro_utfp_id_slot(index, slot.test->id) = slot;
    *quro_utfp_name_slot(index, slot.test->name) = slot;
}

// Tables of the given capacity holding what the old index held; NULL when the pool is exhausted.
quro_utfp_test_index *quro_utfp_build_index(quro_utf_mempool *pool, const quro_utfp_test_index *old, unsigned capacity)
{
    auto *index = static_cast<quro_utfp_test_index *>(quro_utf_mempool_alloc(pool, sizeof(quro_utfp_test_index)));
    auto *tables =
        static_cast<quro_utfp_index_slot *>(quro_utf_mempool_alloc(pool, 2 * capacity * sizeof(quro_utfp_index_slot)));
    if (index == nullptr || tables == nullptr) {
        return nullptr;
    }
    memset(static_cast<void *>(tables), 0, 2 * capacity * sizeof(quro_utfp_index_slot));
    *index = quro_utfp_test_index{tables, tables + capacity, capacity, 0};
    if (old != nullptr) {
        for (unsigned i = 0; i < old->capacity; ++i) {
            if (old->by_id[i].test != nullptr) {
                quro_utfp_place(index, old->by_id[i]);
            }
        }
        index->count = old->count;
    }
    return index;
}

} // namespace

const quro_utf_test *quro_utfp_index_find_duplicate(const quro_utfp_test_index *index, unsigned id, const char *name,
                                                    bool *same_id)
{
    if (index == nullptr) {
        return nullptr;
    }
    const quro_utfp_index_slot *by_id = quro_utfp_id_slot(index, id);
    const quro_utfp_index_slot *by_name = quro_utfp_name_slot(index, name);
    // Of two different tests the earlier registered one is reported, as a walk of the list would.
    *same_id = by_id->test != nullptr && (by_name->test == nullptr || by_id->position <= by_name->position);
    return *same_id ? by_id->test : by_name->test;
}

bool quro_utfp_index_add(quro_utf_mempool *pool, quro_utfp_test_index **index, const quro_utf_test *test)
{
    quro_utfp_test_index *current = *index;
    // At most half full, so that probes stay short and always end.
    if (current == nullptr || 2 * (current->count + 1) > current->capacity) {
        current = quro_utfp_build_index(pool, current, current == nullptr ? kInitialCapacity : 2 * current->capacity);
        if (current == nullptr) {
            return false;
        }
        *index = current;
    }
    quro_utfp_place(current, quro_utfp_index_slot{test, current->count++});
    return true;
}
