// Ids and names of a suite's tests, hashed, so that registering a test costs the same however many
// came before it. Everything lives in the suite's pool, where an outgrown table stays, so the index
// keeps to little memory: names hash into chains linked through the test records themselves, and
// while ids only ascend (as suites number their tests) a new id is known to be new without any id
// table; only when one does not ascend is an id table built.
#include <string.h>

#include <functional>
#include <string_view>

#include "quro_utf_internal.h"

namespace {

constexpr unsigned kInitialBuckets = 64; // powers of two
constexpr unsigned kInitialIdSlots = 64;
constexpr unsigned kTestsPerBucket = 4;

// A test and its link in its name chain are one pool allocation: on 64-bit targets the link takes
// the bytes that the pool's 16-byte rounding of a bare test record would leave unused.
struct quro_utfp_indexed_test {
    quro_utf_test test; // first, so that the test's address is the record's
    quro_utf_test *next_in_chain;
};
static_assert(sizeof(void *) != 8 || sizeof(quro_utfp_indexed_test) == 64, "a test record grows by its link");

quro_utf_test *&quro_utfp_next_in_chain(quro_utf_test *test)
{
    return reinterpret_cast<quro_utfp_indexed_test *>(test)->next_in_chain;
}

} // namespace

struct quro_utfp_test_index {
    quro_utf_test **chains; // by name hash; each chain ends in NULL
    unsigned chain_count;
    const quro_utf_test **by_id; // open addressing, NULL = empty slot; NULL while ids ascend
    unsigned id_slots;
    unsigned count;
    unsigned highest_id;
};

namespace {

size_t quro_utfp_hash_id(unsigned id)
{
    return std::hash<unsigned>{}(id)*0x9E3779B97F4A7C15ull;
}

quro_utf_test **quro_utfp_chain(const quro_utfp_test_index *index, size_t name_hash)
{
    return &index->chains[name_hash & (index->chain_count - 1)];
}

// The slot holding the id, else the empty slot that ends its probe.
const quro_utf_test **quro_utfp_id_slot(const quro_utfp_test_index *index, unsigned id)
{
    for (size_t i = quro_utfp_hash_id(id) & (index->id_slots - 1);; i = (i + 1) & (index->id_slots - 1)) {
        if (index->by_id[i] == nullptr || index->by_id[i]->id == id) {
            return &index->by_id[i];
        }
    }
}

const quro_utf_test *quro_utfp_find_name(const quro_utfp_test_index *index, const char *name, size_t name_hash)
{
    quro_utf_test *test = *quro_utfp_chain(index, name_hash);
    while (test != nullptr && strcmp(test->name, name) != 0) {
        test = quro_utfp_next_in_chain(test);
    }
    return test;
}

// Without an id table only an id that does not ascend needs a look: a walk of the list, once,
// since the table exists from the next registration on.
const quro_utf_test *quro_utfp_find_id(const quro_utfp_test_index *index, const quro_utf_test *first, unsigned id)
{
    if (index->by_id != nullptr) {
        return *quro_utfp_id_slot(index, id);
    }
    if (id > index->highest_id) {
        return nullptr;
    }
    while (first != nullptr && first->id != id) {
        first = first->next_test;
    }
    return first;
}

template <typename T> T *quro_utfp_zeroed(quro_utf_mempool *pool, unsigned count)
{
    const size_t bytes = count * sizeof(T); // NOLINT(bugprone-sizeof-expression): T is often a pointer
    auto *array = static_cast<T *>(quro_utf_mempool_alloc(pool, bytes));
    if (array != nullptr) {
        memset(static_cast<void *>(array), 0, bytes);
    }
    return array;
}

template <typename Visit> void quro_utfp_for_each_test(const quro_utfp_test_index *index, Visit visit)
{
    for (unsigned i = 0; i < index->chain_count; ++i) {
        for (quro_utf_test *test = index->chains[i]; test != nullptr;) {
            quro_utf_test *next = quro_utfp_next_in_chain(test);
            visit(test);
            test = next;
        }
    }
}

bool quro_utfp_rechain(quro_utf_mempool *pool, quro_utfp_test_index *index, unsigned chain_count)
{
    auto *chains = quro_utfp_zeroed<quro_utf_test *>(pool, chain_count);
    if (chains == nullptr) {
        return false;
    }
    quro_utfp_test_index grown = *index;
    grown.chains = chains;
    grown.chain_count = chain_count;
    quro_utfp_for_each_test(index, [&grown](quro_utf_test *test) {
        quro_utf_test **chain = quro_utfp_chain(&grown, quro_utfp_index_hash_name(test->name));
        quro_utfp_next_in_chain(test) = *chain;
        *chain = test;
    });
    *index = grown;
    return true;
}

// Tests are placed only once they are known to be no duplicates: the first empty slot will do.
void quro_utfp_place_id(quro_utfp_test_index *index, const quro_utf_test *test)
{
    size_t i = quro_utfp_hash_id(test->id) & (index->id_slots - 1);
    while (index->by_id[i] != nullptr) {
        i = (i + 1) & (index->id_slots - 1);
    }
    index->by_id[i] = test;
}

bool quro_utfp_rebuild_ids(quro_utf_mempool *pool, quro_utfp_test_index *index, unsigned slots)
{
    auto *by_id = quro_utfp_zeroed<const quro_utf_test *>(pool, slots);
    if (by_id == nullptr) {
        return false;
    }
    index->by_id = by_id;
    index->id_slots = slots;
    quro_utfp_for_each_test(index, [index](const quro_utf_test *test) { quro_utfp_place_id(index, test); });
    return true;
}

// Enough id slots that the table stays at most three quarters full.
unsigned quro_utfp_id_slots_for(unsigned count)
{
    unsigned slots = kInitialIdSlots;
    while (4 * count > 3 * slots) {
        slots *= 2;
    }
    return slots;
}

} // namespace

size_t quro_utfp_index_hash_name(const char *name)
{
    return std::hash<std::string_view>{}(name);
}

quro_utf_test *quro_utfp_index_new_test(quro_utf_mempool *pool)
{
    auto *record = static_cast<quro_utfp_indexed_test *>(quro_utf_mempool_alloc(pool, sizeof(quro_utfp_indexed_test)));
    if (record == nullptr) {
        return nullptr;
    }
    *record = quro_utfp_indexed_test{};
    return &record->test;
}

const quro_utf_test *quro_utfp_index_find_duplicate(const quro_utfp_test_index *index, const quro_utf_test *first,
                                                    unsigned id, const char *name, size_t name_hash, bool *same_id)
{
    if (index == nullptr) {
        return nullptr;
    }
    const quro_utf_test *by_id = quro_utfp_find_id(index, first, id);
    const quro_utf_test *by_name = quro_utfp_find_name(index, name, name_hash);
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

bool quro_utfp_index_add(quro_utf_mempool *pool, quro_utfp_test_index **index, quro_utf_test *test, size_t name_hash)
{
    quro_utfp_test_index *current = *index;
    if (current == nullptr) {
        current = quro_utfp_zeroed<quro_utfp_test_index>(pool, 1);
        if (current == nullptr || !quro_utfp_rechain(pool, current, kInitialBuckets)) {
            return false;
        }
        *index = current;
    }
    const unsigned count = current->count + 1;
    if (count > kTestsPerBucket * current->chain_count && !quro_utfp_rechain(pool, current, 2 * current->chain_count)) {
        return false;
    }
    const bool ids_stop_ascending = current->count != 0 && test->id <= current->highest_id;
    const bool ids_outgrown = current->by_id != nullptr && 4 * count > 3 * current->id_slots;
    if ((ids_outgrown || (current->by_id == nullptr && ids_stop_ascending)) &&
        !quro_utfp_rebuild_ids(pool, current, quro_utfp_id_slots_for(count))) {
        return false;
    }
    quro_utf_test **chain = quro_utfp_chain(current, name_hash);
    quro_utfp_next_in_chain(test) = *chain;
    *chain = test;
    if (current->by_id != nullptr) {
        quro_utfp_place_id(current, test);
    }
    current->highest_id = current->count == 0 || test->id > current->highest_id ? test->id : current->highest_id;
    current->count = count;
    return true;
}
