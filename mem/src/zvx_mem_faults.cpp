#include "zvx_mem_faults.h"

#include <atomic>

#include "zvx_mem.h"

bool zvx_mem_faults_arm(uint64_t first, uint64_t last)
{
    unsigned int *initialised = zvx_mem_unit_get_initialised();
    if (initialised == nullptr)
        return false;
    *zvx_mem_unit_get_lower_bound_fail() = first;
    *zvx_mem_unit_get_upper_bound_fail() = last;
    std::atomic_ref<uint64_t>(*zvx_mem_unit_get_sequence()).store(0, std::memory_order_relaxed);
    std::atomic_ref<unsigned int>(*initialised).store(1, std::memory_order_release);
    return true;
}

void zvx_mem_faults_disarm(void)
{
    if (unsigned int *initialised = zvx_mem_unit_get_initialised())
        std::atomic_ref<unsigned int>(*initialised).store(0, std::memory_order_release);
}

uint64_t zvx_mem_faults_counted(void)
{
    uint64_t *sequence = zvx_mem_unit_get_sequence();
    return sequence != nullptr ? std::atomic_ref<uint64_t>(*sequence).load(std::memory_order_relaxed) : 0;
}
