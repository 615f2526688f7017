#include "zvx_util_atomic.h"

#include <atomic>

namespace {
std::atomic_ref<uint32_t> word(zvxu_atomic *atomic)
{
    return std::atomic_ref<uint32_t>(atomic->val);
}

// Add and sub go through cmpxchg, so all of them share its sequentially consistent
// ordering; a lost race retries with the value that won.
template <typename Update> void update(zvxu_atomic *atomic, Update next_value)
{
    uint32_t old = zvxu_atomic_get(atomic);
    for (;;) {
        const uint32_t found = zvxu_atomic_cmpxchg(atomic, old, next_value(old));
        if (found == old)
            return;
        old = found;
    }
}
} // namespace

uint32_t zvxu_atomic_cmpxchg(zvxu_atomic *atomic, uint32_t oldvalue, uint32_t newvalue)
{
    word(atomic).compare_exchange_strong(oldvalue, newvalue, std::memory_order_seq_cst);
    return oldvalue;
}

// An exchange is the compare-and-swap loop whose old value is dropped, without reading that value
// first: set is how a fresh record's state gets its first value, so the word may still be
// uninitialised.
void zvxu_atomic_set(zvxu_atomic *atomic, uint32_t value)
{
    word(atomic).exchange(value, std::memory_order_seq_cst);
}

uint32_t zvxu_atomic_get(zvxu_atomic *atomic)
{
    return word(atomic).load(std::memory_order_relaxed);
}

void zvxu_atomic_add(zvxu_atomic *atomic, uint32_t value)
{
    update(atomic, [value](uint32_t old) { return old + value; });
}

void zvxu_atomic_sub(zvxu_atomic *atomic, uint32_t value)
{
    update(atomic, [value](uint32_t old) { return old - value; });
}
