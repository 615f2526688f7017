// Hooks of the fault-injection build: while armed, allocations are numbered from 0 and those
// whose number lies in [lower bound, upper bound] are refused.
#include <atomic>

#include "zvx_mem.h"
#include "zvx_mem_unit.h"

namespace {
// Written by the thread that arms the window; read by every allocating thread.
unsigned int initialised;
uint64_t lower_bound_fail;
uint64_t upper_bound_fail;
// Incremented by every allocating thread while armed.
uint64_t sequence;
} // namespace

bool zvx_mem_unit_refuse(void)
{
    if (std::atomic_ref<unsigned int>(initialised).load(std::memory_order_acquire) == 0)
        return false;
    const uint64_t number = std::atomic_ref<uint64_t>(sequence).fetch_add(1, std::memory_order_relaxed);
    return number >= std::atomic_ref<uint64_t>(lower_bound_fail).load(std::memory_order_relaxed) &&
           number <= std::atomic_ref<uint64_t>(upper_bound_fail).load(std::memory_order_relaxed);
}

unsigned int *zvx_mem_unit_get_initialised(void)
{
    return &initialised;
}

uint64_t *zvx_mem_unit_get_upper_bound_fail(void)
{
    return &upper_bound_fail;
}

uint64_t *zvx_mem_unit_get_lower_bound_fail(void)
{
    return &lower_bound_fail;
}

uint64_t *zvx_mem_unit_get_sequence(void)
{
    return &sequence;
}
