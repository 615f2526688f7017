#ifndef ZVX_MEM_H
#define ZVX_MEM_H

#include <cstddef>
#include <cstdint>

// Every allocation of the component and the support libraries goes through these wrappers, so a
// build can put fault injection behind this one seam.
void *zvx_mem_malloc(size_t size);
void *zvx_mem_calloc(size_t nmemb, size_t size);
// Page-aligned block; null (with an error line on standard output) when the page size is unknown.
void *zvx_mem_valloc(size_t size);
// Releases a block from any of the three allocators above; null is accepted.
void zvx_mem_free(const void *ptr);

// Fault-injection hooks: an armed flag, the failure window and the allocation number (see
// zvx_mem_faults.h). They return null except in the fault-injection build, so the wrappers never
// fail on purpose.
unsigned int *zvx_mem_unit_get_initialised(void);
uint64_t *zvx_mem_unit_get_upper_bound_fail(void);
uint64_t *zvx_mem_unit_get_lower_bound_fail(void);
uint64_t *zvx_mem_unit_get_sequence(void);

#endif
