#ifndef ZVX_UTIL_ATOMIC_H
#define ZVX_UTIL_ATOMIC_H

#include <cstdint>

// A plain 32-bit word shared between threads; all read-modify-writes are sequentially consistent.
typedef struct zvxu_atomic {
    uint32_t val;
} zvxu_atomic;

// Stores newvalue only if the word holds oldvalue; returns the value found.
uint32_t zvxu_atomic_cmpxchg(zvxu_atomic *atomic, uint32_t oldvalue, uint32_t newvalue);
void zvxu_atomic_set(zvxu_atomic *atomic, uint32_t value);
// Unordered load: enough for polling a state that is written with the calls above.
uint32_t zvxu_atomic_get(zvxu_atomic *atomic);
// Both wrap modulo 2^32.
void zvxu_atomic_add(zvxu_atomic *atomic, uint32_t value);
void zvxu_atomic_sub(zvxu_atomic *atomic, uint32_t value);

#endif
