// Hooks of the shipped build: no failure window exists, so the wrappers never fail on purpose.
#include "zvx_mem.h"
#include "zvx_mem_unit.h"

bool zvx_mem_unit_refuse(void)
{
    return false;
}

unsigned int *zvx_mem_unit_get_initialised(void)
{
    return nullptr;
}

uint64_t *zvx_mem_unit_get_upper_bound_fail(void)
{
    return nullptr;
}

uint64_t *zvx_mem_unit_get_lower_bound_fail(void)
{
    return nullptr;
}

uint64_t *zvx_mem_unit_get_sequence(void)
{
    return nullptr;
}
