#ifndef ZVX_MEM_UNIT_H
#define ZVX_MEM_UNIT_H

// Asked by every allocating wrapper: true when this allocation is one to refuse. Counts the
// allocation while a failure window is armed; always false where the hooks are inert.
bool zvx_mem_unit_refuse(void);

#endif
