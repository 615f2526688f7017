// Resource-failure injection for the device's own memory, process-wide like the hooks that set it.
#include "zvx_dev_kernel_memory.h"

#include <cstdint>
#include <mutex>

#include "zvx_session_interface.h"

namespace {

struct zvxp_failure_range {
    std::mutex lock;
    bool enabled = false;     /* lock */
    uint64_t min = 0;         /* lock */
    uint64_t max = 0;         /* lock */
    uint64_t allocations = 0; /* lock: counted while enabled, from 0 */
    bool did_fail = false;    /* lock */
};

zvxp_failure_range &zvxp_range()
{
    static zvxp_failure_range range;
    return range;
}

} // namespace

namespace zvx_dev {

bool kernel_allocation_fails()
{
    zvxp_failure_range &range = zvxp_range();
    std::lock_guard guard(range.lock);
    if (!range.enabled)
        return false;
    const uint64_t sequence = range.allocations++;
    const bool fails = sequence >= range.min && sequence <= range.max;
    range.did_fail = range.did_fail || fails;
    return fails;
}

} // namespace zvx_dev

void zvx_mem_kernelspace_set_failure_range(uint64_t min, uint64_t max)
{
    zvxp_failure_range &range = zvxp_range();
    std::lock_guard guard(range.lock);
    range.min = min;
    range.max = max;
}

void zvx_mem_kernelspace_resfail_enable(void)
{
    zvxp_failure_range &range = zvxp_range();
    std::lock_guard guard(range.lock);
    range.enabled = true;
    range.allocations = 0;
    range.did_fail = false;
}

void zvx_mem_kernelspace_resfail_disable(void)
{
    zvxp_failure_range &range = zvxp_range();
    std::lock_guard guard(range.lock);
    range.enabled = false;
}

uint32_t zvx_mem_kernelspace_resfail_did_fail(void)
{
    zvxp_failure_range &range = zvxp_range();
    std::lock_guard guard(range.lock);
    return range.did_fail ? 1 : 0;
}
