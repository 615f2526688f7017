#include "zvx_util_atomic.h"

#include <atomic>

namespace {
std::atomic_ref<uint32_t> word(zvxu_atomic *atomic)
{
    return std::atomic_ref<uint32_t>(atomic->val);
}
} // namespace

uint32_t zvxu_atomic_cmpxchg(zvxu_atomic *atomic, uint32_t oldvalue, uint32_t newvalue)
{
    word(atomic).compare_exchange_strong(oldvalue, newvalue, std::memory_order_seq_cst);
    return oldvalue;
}

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
    word(atomic).fetch_add(value, std::memory_order_seq_cst);
}

void zvxu_atomic_sub(zvxu_atomic *atomic, uint32_t value)
{
    word(atomic).fetch_sub(value, std::memory_order_seq_cst);
}
