// Buffer memory kept across components, for the process's lifetime.
#include "zvx_omx_buffer_memory_store.h"

#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>

#include "zvx_mem.h"
#include "zvx_omx_common_component.h"

namespace {

struct zvxp_kept_block {
    void *block;
    uint32_t size;
};

/* Never destroyed: a component left open at exit may still free its buffers after the closer ran. */
pthread_mutex_t zvxp_store_lock = PTHREAD_MUTEX_INITIALIZER;
zvxp_kept_block zvxp_kept[ZVX_OMX_BUFFER_MEMORY_STORE_BLOCKS]; /* zvxp_store_lock */
uint32_t zvxp_kept_count;                                      /* zvxp_store_lock */
uint64_t zvxp_kept_bytes;                                      /* zvxp_store_lock */
bool zvxp_store_closed;                                        /* zvxp_store_lock */

/* Frees what is kept at unload, so that nothing outlives the library. */
struct zvxp_store_closer {
    zvxp_store_closer() = default;
    zvxp_store_closer(const zvxp_store_closer &) = delete;
    zvxp_store_closer &operator=(const zvxp_store_closer &) = delete;
    ~zvxp_store_closer()
    {
        zvx_omx_mutex_guard guard(&zvxp_store_lock);
        zvxp_store_closed = true;
        while (zvxp_kept_count != 0) {
            zvx_mem_free(zvxp_kept[--zvxp_kept_count].block);
        }
        zvxp_kept_bytes = 0;
    }
} zvxp_closer;

/* Lets the kernel take the block's whole pages back if it needs them. The pages stay mapped otherwise,
 * so reusing them costs no fault; the block's first and last partial pages may hold the allocator's own
 * records and are left alone. */
void zvxp_release_pages_lazily(void *block, uint32_t size)
{
    const long page_size = sysconf(_SC_PAGESIZE);
    if (page_size <= 0) {
        return;
    }
    const auto page = static_cast<uintptr_t>(page_size);
    const uintptr_t begin = (reinterpret_cast<uintptr_t>(block) + page - 1) & ~(page - 1);
    const uintptr_t end = (reinterpret_cast<uintptr_t>(block) + size) & ~(page - 1);
    if (end > begin) {
        madvise(reinterpret_cast<void *>(begin), end - begin, MADV_FREE);
    }
}

} // namespace

void *zvx_omx_buffer_memory_store_take(uint32_t size)
{
    zvx_omx_mutex_guard guard(&zvxp_store_lock);
    for (uint32_t i = zvxp_kept_count; i-- != 0;) {
        if (zvxp_kept[i].size == size) {
            void *block = zvxp_kept[i].block;
            std::copy(zvxp_kept + i + 1, zvxp_kept + zvxp_kept_count, zvxp_kept + i);
            --zvxp_kept_count;
            zvxp_kept_bytes -= size;
            return block;
        }
    }
    return nullptr;
}

bool zvx_omx_buffer_memory_store_give(void *block, uint32_t size)
{
    if (block == nullptr) {
        return false;
    }
    bool kept = false;
    void *freed[ZVX_OMX_BUFFER_MEMORY_STORE_BLOCKS + 1];
    uint32_t freed_count = 0;
    if (size <= ZVX_OMX_BUFFER_MEMORY_STORE_BYTES) {
        // Before the block is kept: once it is, another thread may take it and write to it at once.
        zvxp_release_pages_lazily(block, size);
        zvx_omx_mutex_guard guard(&zvxp_store_lock);
        if (!zvxp_store_closed) {
            // The newest blocks are the likeliest to serve the next component, so the oldest make room.
            while (zvxp_kept_count == ZVX_OMX_BUFFER_MEMORY_STORE_BLOCKS ||
                   zvxp_kept_bytes + size > ZVX_OMX_BUFFER_MEMORY_STORE_BYTES) {
                freed[freed_count++] = zvxp_kept[0].block;
                zvxp_kept_bytes -= zvxp_kept[0].size;
                std::copy(zvxp_kept + 1, zvxp_kept + zvxp_kept_count, zvxp_kept);
                --zvxp_kept_count;
            }
            zvxp_kept[zvxp_kept_count++] = zvxp_kept_block{block, size};
            zvxp_kept_bytes += size;
            kept = true;
        }
    }
    if (!kept) {
        freed[freed_count++] = block;
    }
    for (uint32_t i = 0; i < freed_count; ++i) {
        zvx_mem_free(freed[i]);
    }
    return kept;
}
