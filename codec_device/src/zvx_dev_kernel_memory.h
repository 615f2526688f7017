#ifndef ZVX_DEV_KERNEL_MEMORY_H
#define ZVX_DEV_KERNEL_MEMORY_H

namespace zvx_dev {

/* Counts one allocation of device memory (a session, a buffer mapping); true when the failure
 * range set through zvx_mem_kernelspace_* makes this one fail. */
bool kernel_allocation_fails();

} // namespace zvx_dev

#endif
