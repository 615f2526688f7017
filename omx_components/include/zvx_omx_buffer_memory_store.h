#ifndef ZVX_OMX_BUFFER_MEMORY_STORE_H
#define ZVX_OMX_BUFFER_MEMORY_STORE_H

#include <cstdint>

/*
 * Buffer memory kept for the process, across components. A player that closes one decoder and opens
 * the next (the next file, the next track) finds the new buffers' pages mapped already, as the C library
 * keeps its heap for the same reason: otherwise every page of every new buffer faults on its first write,
 * and on a start those faults compete for the CPU with the decode of the first pictures. The kernel may
 * reclaim a kept block's pages under memory pressure; the block then reads as zeros.
 *
 * At most ZVX_OMX_BUFFER_MEMORY_STORE_BLOCKS blocks and ZVX_OMX_BUFFER_MEMORY_STORE_BYTES bytes are
 * kept, the newest first: a block kept when the store is full frees the oldest. What is left at unload is
 * freed then. Both calls are safe from any thread.
 */
#define ZVX_OMX_BUFFER_MEMORY_STORE_BLOCKS 32
#define ZVX_OMX_BUFFER_MEMORY_STORE_BYTES (64U << 20)

/* A kept block of exactly size bytes, or null. */
void *zvx_omx_buffer_memory_store_take(uint32_t size);
/* Takes a zvx_mem_valloc block of size bytes (null is accepted): kept, or freed when it alone exceeds the
 * store or the library is unloading. True when kept. */
bool zvx_omx_buffer_memory_store_give(void *block, uint32_t size);

#endif
