#ifndef ZVX_MEM_FAULTS_H
#define ZVX_MEM_FAULTS_H

#include <cstdint>

// Failure window of the memory wrappers, set through their four unit hooks. Once armed, the
// wrappers' allocations are numbered from 0 and those numbered first..last fail. Where the hooks
// are inert (every build but the fault-injection one) arming reports false and nothing fails.
bool zvx_mem_faults_arm(uint64_t first, uint64_t last);
void zvx_mem_faults_disarm(void);
// Allocations numbered since the window was armed.
uint64_t zvx_mem_faults_counted(void);

#endif
